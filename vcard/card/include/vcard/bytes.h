// Little-endian words in byte buffers, and bytes as hexadecimal text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vcard {

using Bytes = std::vector<uint8_t>;
using ByteView = std::span<const uint8_t>;

/// The little-endian word of sizeof(T) bytes at `offset`; bytes beyond the end of `bytes` read as 0.
template <typename T>
T get_le(ByteView bytes, size_t offset) {
  T value = 0;
  for (size_t i = 0; i < sizeof(T) && offset + i < bytes.size(); ++i) {
    value = static_cast<T>(value | static_cast<T>(static_cast<T>(bytes[offset + i]) << (8 * i)));
  }
  return value;
}

/// Stores `value` little-endian at `offset`, growing `bytes` with zeros when it ends before that.
template <typename T>
void put_le(Bytes& bytes, size_t offset, T value) {
  if (bytes.size() < offset + sizeof(T)) {
    bytes.resize(offset + sizeof(T));
  }
  for (size_t i = 0; i < sizeof(T); ++i) {
    bytes[offset + i] = static_cast<uint8_t>(value >> (8 * i));
  }
}

/// Two lower-case hexadecimal digits per byte, nothing between them; "-" when there are no bytes.
std::string hex_text(ByteView bytes);

/// Reads hexadecimal digits; blanks and ':' between bytes are skipped. Nothing when the text is not whole bytes.
std::optional<Bytes> hex_bytes(std::string_view text);

}  // namespace vcard
