#include "qlix_comm/bits.h"

namespace qlix_comm_detail {

std::uint32_t report_bits(const source_place& at, const void* buffer, const void* value, std::uint32_t total_bits,
                          std::uint32_t msb, std::uint32_t length) {
  if (buffer == nullptr || value == nullptr) {
    return report_null(at);
  }
  if (length == 0 || length > 32) {
    return report_range(at, QLIX_COMM_OUT_OF_RANGE, length, 1, 32);
  }
  if (msb >= total_bits) {
    return report_pair(at, msb, total_bits);
  }
  if (total_bits % 8 != 0) {
    return report_pair(at, total_bits, 8);
  }
  return report_pair(at, length, msb + 1);
}

void bits_write_bytes(std::uint8_t* buffer, std::uint32_t total_bits, std::uint32_t value, std::uint32_t msb,
                      std::uint32_t length) {
  const std::uint32_t lsb = msb - (length - 1);
  const std::uint64_t mask = (~std::uint64_t{0} >> (64 - length)) << (lsb % 8);
  const std::uint64_t bits = (std::uint64_t{value} << (lsb % 8)) & mask;
  std::uint8_t* byte = buffer + total_bits / 8 - 1 - lsb / 8;
  for (std::uint32_t shift = 0; mask >> shift != 0; shift += 8, --byte) {
    *byte = static_cast<std::uint8_t>((*byte & ~(mask >> shift)) | (bits >> shift));
  }
}

std::uint32_t bits_read_bytes(const std::uint8_t* buffer, std::uint32_t total_bits, std::uint32_t msb,
                              std::uint32_t length) {
  const std::uint32_t lsb = msb - (length - 1);
  const std::uint64_t mask = (~std::uint64_t{0} >> (64 - length)) << (lsb % 8);
  const std::uint8_t* byte = buffer + total_bits / 8 - 1 - lsb / 8;
  std::uint64_t bits = 0;
  for (std::uint32_t shift = 0; mask >> shift != 0; shift += 8, --byte) {
    bits |= std::uint64_t{*byte} << shift;
  }
  return static_cast<std::uint32_t>((bits & mask) >> (lsb % 8));
}

}  // namespace qlix_comm_detail
