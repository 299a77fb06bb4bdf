// The hash under which the generator files command names and the driver looks them up.
#pragma once

#include <cstdint>
#include <string_view>

inline constexpr uint32_t DPP_CMD_NAME_SLOTS = 16384;  ///< a power of two, about three times the number of commands
inline constexpr uint16_t DPP_CMD_NAME_SLOT_FREE = 0xFFFF;

/// Up to eight bytes as one number, on every machine the same.
constexpr uint64_t dpp_cmd_name_word(const char* text, size_t length) {
  uint64_t word = 0;
  for (size_t i = 0; i < length; ++i) {
    word |= uint64_t{static_cast<unsigned char>(text[i])} << (8 * i);
  }
  return word;
}

constexpr uint32_t dpp_cmd_name_hash(std::string_view name) {
  constexpr uint64_t factor = 0x9E3779B97F4A7C15;
  const char* text = name.data();
  size_t left = name.size();
  uint64_t hash = left;
  for (; left >= 8; left -= 8, text += 8) {
    hash = (hash ^ dpp_cmd_name_word(text, 8)) * factor;
    hash ^= hash >> 32;
  }
  hash = (hash ^ dpp_cmd_name_word(text, left)) * factor;
  return static_cast<uint32_t>(hash >> 32);
}
