#include "reg_access.h"

#include "common/report.h"
#include "kx_pcie/card_lock.h"
#include "kx_pcie/tunnel.h"
#include "kx_vqm/cmd.h"

namespace {

uint32_t failures = 0;
uint32_t vqm_new = 0;

bool is_upper_half(uint64_t address) {
  return address % 4 != 0;
}

bool read_word(uint64_t address, uint32_t* value) {
  if (read_val_from_kx(address, value) != 0) {
    ++failures;
    kx_print("read_val_from_kx failed!\n");
    return false;
  }
  return true;
}

bool write_word(uint64_t address, uint32_t value, const char* message) {
  if (write_val_to_kx(address, value) != 0) {
    ++failures;
    kx_print("%s\n", message);
    return false;
  }
  return true;
}

}  // namespace

uint32_t vqm_reg_read_32(uint64_t address) {
  uint32_t value = 0;
  return read_word(address, &value) ? value : UINT32_MAX;
}

uint16_t vqm_reg_read_16(uint64_t address) {
  if (is_upper_half(address)) {
    return static_cast<uint16_t>(vqm_reg_read_32(address - 2) >> 16);
  }
  return static_cast<uint16_t>(vqm_reg_read_32(address));
}

uint64_t vqm_reg_read_64(uint64_t address) {
  uint32_t low = 0;
  uint32_t high = 0;
  card_lock lock;
  if (!lock.take()) {
    ++failures;
    return UINT64_MAX;
  }
  if (!read_word(address, &low) || !read_word(address + 4, &high)) {
    return UINT64_MAX;
  }
  return uint64_t{high} << 32 | low;
}

int32_t vqm_reg_write_32(uint64_t address, uint32_t value) {
  return write_word(address, value, "write_val_to_kx failed!") ? 0 : -1;
}

int32_t vqm_reg_write_16(uint64_t address, uint16_t value) {
  const bool upper = is_upper_half(address);
  const uint64_t word_address = upper ? address - 2 : address;
  uint32_t word = 0;
  card_lock lock;  // the other half is another tool's to write
  if (!lock.take()) {
    ++failures;
    return -1;
  }
  // Without the other half there is nothing to write back.
  if (!read_word(word_address, &word)) {
    return -1;
  }
  word = upper ? (word & 0x0000FFFF) | uint32_t{value} << 16 : (word & 0xFFFF0000) | value;
  return vqm_reg_write_32(word_address, word);
}

int32_t vqm_reg_write_64(uint64_t address, uint64_t value) {
  card_lock lock;
  if (!lock.take()) {
    ++failures;
    return -1;
  }
  if (!write_word(address, static_cast<uint32_t>(value), "write_val64_to_kx low32 failed!") ||
      !write_word(address + 4, static_cast<uint32_t>(value >> 32), "write_val64_to_kx high32 failed!")) {
    return -1;
  }
  return 0;
}

uint32_t vqm_reg_failures() {
  return failures;
}

uint32_t vqm_new_get() {
  return vqm_new;
}

int32_t kxvqm_dev_init() {
  uint32_t version = 0;
  vqm_new = 0;  // what the card bound before had does not hold for this one
  if (read_val_from_kx(VQM_WINDOWS.bar_addr, &version) != 0) {
    kx_print("REG_READ_32 failed!\n");
    return -1;
  }
  vqm_new = version == VQM_NEW_VERSION ? 1 : 0;
  return 0;
}
