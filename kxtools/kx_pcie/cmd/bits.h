// Register bits by their names in the standard.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>

struct kxpcie_bit {
  uint8_t bit;
  const char* name;
};

/// All named bits.
constexpr uint32_t kxpcie_bits_mask(std::span<const kxpcie_bit> bits) {
  uint32_t mask = 0;
  for (const kxpcie_bit& row : bits) {
    mask |= 1u << row.bit;
  }
  return mask;
}

/// Text of a state: "on" or "off", "yes" or "no".
constexpr const char* kxpcie_on(uint32_t value) {
  return value != 0 ? "on" : "off";
}
constexpr const char* kxpcie_yes(uint32_t value) {
  return value != 0 ? "yes" : "no";
}

/// Speed of a link by its number in the link registers, "unknown" for one that the standard does not assign.
const char* kxpcie_speed_text(uint32_t speed);
