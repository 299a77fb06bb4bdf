#include "registers.h"

#include "common/report.h"
#include "kx_pcie/tunnel.h"

namespace {

// The high word changes between its two reads only when the low word has wrapped in between, once in minutes.
int32_t read_counter(uint64_t address, uint64_t* value) {
  uint32_t before = 0;
  uint32_t low = 0;
  uint32_t high = 0;
  if (read_val_from_kx(address + 4, &before) != 0 || read_val_from_kx(address, &low) != 0 ||
      read_val_from_kx(address + 4, &high) != 0 || (high != before && read_val_from_kx(address, &low) != 0)) {
    return -1;
  }
  *value = uint64_t{high} << 32 | low;
  return 0;
}

int32_t read_word(uint64_t address, uint64_t* value) {
  uint32_t word = 0;
  const int32_t result = read_val_from_kx(address, &word);
  *value = word;
  return result;
}

}  // namespace

int32_t trace_reg_read(uint64_t base, const kx_register_description& row, uint32_t index, uint64_t* value) {
  const uint64_t address = base + row.offset[0] + uint64_t{row.stride[0]} * index;
  if ((row.width == 64 ? read_counter(address, value) : read_word(address, value)) != 0) {
    kx_print("read trace reg 0x%llx failed!\n", static_cast<unsigned long long>(address));
    return -1;
  }
  return 0;
}
