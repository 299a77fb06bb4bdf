// Words for counts.
#pragma once

#include <cstdint>

/// What stands behind a word for `count` things: "1 item", "2 items".
inline const char* qlix_comm_plural(std::uint64_t count) {
  return count == 1 ? "" : "s";
}
