// Bit fields of registers and table entries. A register of `total_bits` bits is a big-endian byte string: bit 0 is the
// least significant bit of its last byte, the highest bit stands in byte 0. A field is named by its most significant
// bit and its length.
//
// The functions are inline, and touch the register in 32-bit words counted from its end, at most two for a field: words
// of one grid, so that a field that follows another reads what was just stored without waiting for it.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "qlix_comm/types.h"

namespace qlix_comm_detail {

/// The rest of the two functions: wrong arguments, and fields that touch the first, partial word of a register whose
/// width is no multiple of 32 bits.
std::uint32_t bits_write_slow(std::uint8_t* buffer, std::uint32_t total_bits, std::uint32_t value, std::uint32_t msb,
                              std::uint32_t length);
std::uint32_t bits_read_slow(const std::uint8_t* buffer, std::uint32_t total_bits, std::uint32_t* value,
                             std::uint32_t msb, std::uint32_t length);

/// Ones in the low `more` + 1 bits.
struct bits_masks {
  std::uint32_t low[32];
};
inline constexpr bits_masks BITS_MASKS = [] {
  bits_masks masks{};
  for (std::uint32_t more = 0; more < 32; ++more) {
    masks.low[more] = ~std::uint32_t{0} >> (31 - more);
  }
  return masks;
}();

inline std::uint32_t bits_load(const std::uint8_t* at) {
  std::uint32_t word;
  memcpy(&word, at, sizeof word);
  return std::endian::native == std::endian::little ? __builtin_bswap32(word) : word;
}

inline void bits_store(std::uint8_t* at, std::uint32_t word) {
  word = std::endian::native == std::endian::little ? __builtin_bswap32(word) : word;
  memcpy(at, &word, sizeof word);
}

/// The word with that number from the register's end.
template <class Byte>
Byte* bits_word(Byte* buffer, std::uint32_t total_bits, std::uint32_t word) {
  return buffer + total_bits / 8 - 4 - word * std::size_t{4};
}

}  // namespace qlix_comm_detail

/// Writes the low `length` bits of `value` into bits msb ... msb-length+1; the other bits stay. `buffer` holds
/// `total_bits` bits (a multiple of 8) and needs no alignment; length is 1 to 32. Null buffer: 0x1201; a field outside
/// the register, a length outside 1 to 32 or a width that is no multiple of 8: 0x1205.
inline std::uint32_t qlix_comm_write_bits_ex(std::uint8_t* buffer, std::uint32_t total_bits, std::uint32_t value,
                                             std::uint32_t msb, std::uint32_t length) {
  using namespace qlix_comm_detail;
  const std::uint32_t more = length - 1;
  const std::uint32_t lsb = msb - more;  // wraps when the field is longer than msb + 1
  const std::uint32_t low_word = lsb / 32;
  const std::uint32_t high_word = msb / 32;
  if (buffer == nullptr || total_bits % 8 != 0 || high_word >= total_bits / 32 || more >= 32) [[unlikely]] {
    return bits_write_slow(buffer, total_bits, value, msb, length);
  }
  if (low_word == high_word) {
    std::uint8_t* const only = bits_word(buffer, total_bits, low_word);
    const std::uint32_t word = bits_load(only);
    bits_store(only, word ^ ((word ^ value << (lsb % 32)) & BITS_MASKS.low[more] << (lsb % 32)));
    return QLIX_COMM_OK;
  }
  if (lsb > msb) [[unlikely]] {
    return bits_write_slow(buffer, total_bits, value, msb, length);
  }
  std::uint8_t* const low = bits_word(buffer, total_bits, low_word);
  std::uint8_t* const high = low - 4;
  const std::uint64_t mask = std::uint64_t{BITS_MASKS.low[more]} << (lsb % 32);
  const std::uint64_t bits = (std::uint64_t{value} << (lsb % 32)) & mask;
  bits_store(low, (bits_load(low) & ~static_cast<std::uint32_t>(mask)) | static_cast<std::uint32_t>(bits));
  bits_store(high,
             (bits_load(high) & ~static_cast<std::uint32_t>(mask >> 32)) | static_cast<std::uint32_t>(bits >> 32));
  return QLIX_COMM_OK;
}

/// Reads bits msb ... msb-length+1 into `*value`, right-aligned. Same ranges and codes; on failure `*value` stays.
inline std::uint32_t qlix_comm_read_bits_ex(const std::uint8_t* buffer, std::uint32_t total_bits, std::uint32_t* value,
                                            std::uint32_t msb, std::uint32_t length) {
  using namespace qlix_comm_detail;
  const std::uint32_t more = length - 1;
  const std::uint32_t lsb = msb - more;  // wraps when the field is longer than msb + 1
  const std::uint32_t low_word = lsb / 32;
  const std::uint32_t high_word = msb / 32;
  if (buffer == nullptr || value == nullptr || total_bits % 8 != 0 || high_word >= total_bits / 32 || more >= 32)
      [[unlikely]] {
    return bits_read_slow(buffer, total_bits, value, msb, length);
  }
  if (low_word == high_word) {
    *value = bits_load(bits_word(buffer, total_bits, low_word)) >> (lsb % 32) & BITS_MASKS.low[more];
    return QLIX_COMM_OK;
  }
  if (lsb > msb) [[unlikely]] {
    return bits_read_slow(buffer, total_bits, value, msb, length);
  }
  const std::uint8_t* const low = bits_word(buffer, total_bits, low_word);
  const std::uint64_t bits = std::uint64_t{bits_load(low - 4)} << 32 | bits_load(low);
  *value = static_cast<std::uint32_t>(bits >> (lsb % 32)) & BITS_MASKS.low[more];
  return QLIX_COMM_OK;
}
