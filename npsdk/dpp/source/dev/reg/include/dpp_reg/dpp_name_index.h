// The index of names that the generators make and the driver looks names up in: hashed slots of numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

inline constexpr uint32_t DPP_NAME_SLOTS = 16384;  ///< a power of two, more than three times the number of names
inline constexpr uint16_t DPP_NAME_SLOT_FREE = 0xFFFF;
using dpp_name_slots = uint16_t[DPP_NAME_SLOTS];

/// Up to eight bytes as one number, on every machine the same.
constexpr uint64_t dpp_name_word(const char* text, size_t length) {
  uint64_t word = 0;
  for (size_t i = 0; i < length; ++i) {
    word |= uint64_t{static_cast<unsigned char>(text[i])} << (8 * i);
  }
  return word;
}

constexpr uint32_t dpp_name_hash(std::string_view name) {
  constexpr uint64_t FACTOR = 0x9E3779B97F4A7C15;
  const char* text = name.data();
  size_t left = name.size();
  uint64_t hash = left;
  for (; left >= 8; left -= 8, text += 8) {
    hash = (hash ^ dpp_name_word(text, 8)) * FACTOR;
    hash ^= hash >> 32;
  }
  hash = (hash ^ dpp_name_word(text, left)) * FACTOR;
  return static_cast<uint32_t>(hash >> 32);
}

/// The number of a name, or DPP_NAME_SLOT_FREE; `name_of` gives the name of a number.
template <typename NameOf>
uint16_t dpp_name_find(const dpp_name_slots& slots, std::string_view name, NameOf name_of) {
  uint32_t slot = dpp_name_hash(name) % DPP_NAME_SLOTS;
  while (slots[slot] != DPP_NAME_SLOT_FREE && name != name_of(slots[slot])) {
    slot = (slot + 1) % DPP_NAME_SLOTS;
  }
  return slots[slot];
}
