// The chip's checksum circuits: a shift register fed bit by bit.
#pragma once

#include <cstdint>
#include <span>

namespace vcard {

inline uint32_t np_crc(std::span<const uint8_t> data, unsigned width, uint32_t polynomial) {
  const uint32_t top = uint32_t{1} << (width - 1);
  const uint32_t keep = width == 32 ? 0xFFFFFFFFu : (uint32_t{1} << width) - 1;
  uint32_t reg = 0;
  for (const uint8_t byte : data) {
    for (int bit = 7; bit >= 0; bit--) {
      const bool out = ((reg & top) != 0) != ((byte >> bit & 1) != 0);
      reg = reg << 1 & keep;
      if (out) {
        reg ^= polynomial;
      }
    }
  }
  return reg;
}

}  // namespace vcard
