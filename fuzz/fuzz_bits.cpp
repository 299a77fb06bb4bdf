// Bit fields of any place, length and register width, valid or not: what is written is read back, everything else
// stays, and nothing outside the register is touched.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "qlix_comm/bits.h"
#include "qlix_comm/print.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  qlix_comm_set_print_level(QLIX_TRACE_PRINT);
  std::uint32_t words[4];  // msb, length, value, bits that spoil the width
  if (size <= sizeof words) {
    return 0;
  }
  memcpy(words, data, sizeof words);
  const std::vector<std::uint8_t> before(data + sizeof words, data + size);
  std::vector<std::uint8_t> bytes = before;
  const auto total_bits = static_cast<std::uint32_t>(bytes.size() * 8) - (words[3] % 16 == 0 ? words[3] / 16 % 8 : 0);
  const std::uint32_t msb = words[0] % 8 == 7 ? words[0] : words[0] % (total_bits + 2);
  const std::uint32_t length = words[1] % 40;
  std::uint32_t old_value = 0;
  std::uint32_t new_value = 0;
  if (qlix_comm_read_bits_ex(bytes.data(), total_bits, &old_value, msb, length) != 0) {
    if (qlix_comm_write_bits_ex(bytes.data(), total_bits, words[2], msb, length) == 0 || bytes != before) {
      abort();
    }
    return 0;
  }
  const std::uint32_t mask = ~std::uint32_t{0} >> (32 - length);
  if (qlix_comm_write_bits_ex(bytes.data(), total_bits, words[2], msb, length) != 0 ||
      qlix_comm_read_bits_ex(bytes.data(), total_bits, &new_value, msb, length) != 0 ||
      new_value != (words[2] & mask)) {
    abort();
  }
  qlix_comm_write_bits_ex(bytes.data(), total_bits, old_value, msb, length);
  if (bytes != before) {
    abort();
  }
  return 0;
}
