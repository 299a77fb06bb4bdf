// Bytes that count up, bytes of a seeded generator, and the words that bytes are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

/// `size` bytes that count up from `first`.
inline std::vector<uint8_t> counted_bytes(size_t size, uint8_t first = 1) {
  std::vector<uint8_t> bytes(size);
  std::iota(bytes.begin(), bytes.end(), first);
  return bytes;
}

inline std::vector<uint8_t> random_bytes(std::mt19937& rng, size_t length) {
  std::vector<uint8_t> bytes(length);
  for (uint8_t& byte : bytes) {
    byte = static_cast<uint8_t>(rng());
  }
  return bytes;
}

/// Four bytes, the most significant one first.
inline uint32_t word_at(const uint8_t* bytes) {
  return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
}
