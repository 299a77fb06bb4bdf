// Words in the byte order of the card, of packages and of configuration space, at any place of a buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// An unsigned number of `sizeof(T)` bytes at `offset`. REQUIRES: they lie inside.
template <typename T>
constexpr T kx_le_get(std::span<const uint8_t> bytes, size_t offset = 0) {
  T value = 0;
  for (size_t i = 0; i < sizeof(T); ++i) {
    value = static_cast<T>(value | static_cast<T>(bytes[offset + i]) << (8 * i));
  }
  return value;
}

/// Writes `value` as `sizeof(T)` bytes at `offset`. REQUIRES: they lie inside.
template <typename T>
constexpr void kx_le_put(std::span<uint8_t> bytes, size_t offset, T value) {
  for (size_t i = 0; i < sizeof(T); ++i) {
    bytes[offset + i] = static_cast<uint8_t>(value >> (8 * i));
  }
}
