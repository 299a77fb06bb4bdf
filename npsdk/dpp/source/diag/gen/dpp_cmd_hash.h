// The hash under which the generator files command names and the driver looks them up.
#pragma once

#include <cstdint>
#include <string_view>

inline constexpr uint32_t DPP_CMD_NAME_SLOTS = 16384;  ///< a power of two, about three times the number of commands
inline constexpr uint16_t DPP_CMD_NAME_SLOT_FREE = 0xFFFF;

constexpr uint32_t dpp_cmd_name_hash(std::string_view name) {
  uint32_t hash = 2166136261u;
  for (const char c : name) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  }
  return hash ^ (hash >> 15);
}
