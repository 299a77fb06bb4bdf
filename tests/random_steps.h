// How long a random run is.
#pragma once

#include <cstdint>
#include <cstdlib>

/// `steps`, or the share of them that the environment's KX_RANDOM_SHARE leaves: on an emulated processor a step takes
/// twenty times as long.
inline uint32_t random_steps(uint32_t steps) {
  const char* share = std::getenv("KX_RANDOM_SHARE");
  const int parts = share != nullptr ? std::atoi(share) : 1;
  return parts > 1 ? steps / static_cast<uint32_t>(parts) : steps;
}
