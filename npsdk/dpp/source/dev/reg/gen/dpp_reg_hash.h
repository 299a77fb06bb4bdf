// The hash under which the generator files register names and the driver looks them up.
#pragma once

#include <cstdint>
#include <string_view>

inline constexpr uint32_t DPP_REG_NAME_SLOTS = 16384;  ///< a power of two, about four times the number of registers
inline constexpr uint16_t DPP_REG_NAME_SLOT_FREE = 0xFFFF;

constexpr uint32_t dpp_reg_name_hash(std::string_view name) {
  uint32_t hash = 2166136261u;
  for (const char c : name) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  }
  return hash ^ (hash >> 15);
}
