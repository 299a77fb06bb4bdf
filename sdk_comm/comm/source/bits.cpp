#include "qlix_comm/bits.h"

#include "qlix_comm/check.h"

namespace qlix_comm_detail {

namespace {

std::uint32_t field_check(const void* buffer, const void* value, std::uint32_t total_bits, std::uint32_t msb,
                          std::uint32_t length, const char* function) {
  const source_place at{__FILE_NAME__, __LINE__, function};
  if (buffer == nullptr || value == nullptr) {
    static_cast<void>(report_null(at));
    return QLIX_COMM_POINT_NULL;
  }
  if (length == 0 || length > 32) {
    static_cast<void>(report_range(at, QLIX_COMM_OUT_OF_RANGE, length, 1, 32));
    return QLIX_COMM_OUT_OF_RANGE;
  }
  if (total_bits % 8 != 0 || msb >= total_bits || length - 1 > msb) {
    static_cast<void>(report_range(at, QLIX_COMM_OUT_OF_RANGE, msb, length - 1, total_bits - 1));
    return QLIX_COMM_OUT_OF_RANGE;
  }
  return QLIX_COMM_OK;
}

}  // namespace

std::uint32_t bits_write_slow(std::uint8_t* buffer, std::uint32_t total_bits, std::uint32_t value, std::uint32_t msb,
                              std::uint32_t length) {
  if (const std::uint32_t code = field_check(buffer, &value, total_bits, msb, length, "qlix_comm_write_bits_ex");
      code != QLIX_COMM_OK) {
    return code;
  }
  const std::uint32_t lsb = msb - (length - 1);
  const std::uint64_t mask = (~std::uint64_t{0} >> (64 - length)) << (lsb % 8);
  const std::uint64_t bits = (std::uint64_t{value} << (lsb % 8)) & mask;
  std::uint8_t* byte = buffer + total_bits / 8 - 1 - lsb / 8;
  for (std::uint32_t shift = 0; mask >> shift != 0; shift += 8, --byte) {
    *byte = static_cast<std::uint8_t>((*byte & ~(mask >> shift)) | (bits >> shift));
  }
  return QLIX_COMM_OK;
}

std::uint32_t bits_read_slow(const std::uint8_t* buffer, std::uint32_t total_bits, std::uint32_t* value,
                             std::uint32_t msb, std::uint32_t length) {
  if (const std::uint32_t code = field_check(buffer, value, total_bits, msb, length, "qlix_comm_read_bits_ex");
      code != QLIX_COMM_OK) {
    return code;
  }
  const std::uint32_t lsb = msb - (length - 1);
  const std::uint64_t mask = (~std::uint64_t{0} >> (64 - length)) << (lsb % 8);
  const std::uint8_t* byte = buffer + total_bits / 8 - 1 - lsb / 8;
  std::uint64_t bits = 0;
  for (std::uint32_t shift = 0; mask >> shift != 0; shift += 8, --byte) {
    bits |= std::uint64_t{*byte} << shift;
  }
  *value = static_cast<std::uint32_t>((bits & mask) >> (lsb % 8));
  return QLIX_COMM_OK;
}

}  // namespace qlix_comm_detail
