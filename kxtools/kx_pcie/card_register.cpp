#include "kx_pcie/card_register.h"

#include "kx_pcie/card_lock.h"
#include "kx_pcie/tunnel.h"

namespace {

constexpr uint32_t HALF = 16;
constexpr uint32_t WORD = 32;

bool is_upper_half(uint64_t address) {
  return address % 4 != 0;
}

// The high word changes between its two reads only when the low word has wrapped in between, once in minutes.
int32_t pair_read(uint64_t address, bool counts, uint64_t* value) {
  card_lock lock;
  uint32_t before = 0;
  uint32_t low = 0;
  uint32_t high = 0;
  if (!lock.take() || (counts && read_val_from_kx(address + 4, &before) != 0) || read_val_from_kx(address, &low) != 0 ||
      read_val_from_kx(address + 4, &high) != 0 || (counts && high != before && read_val_from_kx(address, &low) != 0)) {
    return -1;
  }
  *value = uint64_t{high} << 32 | low;
  return 0;
}

card_write half_write(uint64_t address, uint32_t value) {
  const bool upper = is_upper_half(address);
  const uint64_t word_address = upper ? address - 2 : address;
  uint32_t word = 0;
  card_lock lock;  // the other half is another tool's to write
  if (!lock.take()) {
    return card_write::lock;
  }
  // Without the other half there is nothing to write back.
  if (read_val_from_kx(word_address, &word) != 0) {
    return card_write::read;
  }
  word = upper ? (word & 0x0000FFFF) | value << 16 : (word & 0xFFFF0000) | (value & 0xFFFF);
  return write_val_to_kx(word_address, word) == 0 ? card_write::done : card_write::low;
}

}  // namespace

int32_t card_register_read(uint64_t address, uint32_t width, uint64_t* value, bool counts) {
  if (width > WORD) {
    return pair_read(address, counts, value);
  }
  const bool upper = width == HALF && is_upper_half(address);
  uint32_t word = 0;
  if (read_val_from_kx(upper ? address - 2 : address, &word) != 0) {
    return -1;
  }
  *value = width == HALF ? word >> (upper ? 16 : 0) & 0xFFFF : word;
  return 0;
}

card_write card_register_write(uint64_t address, uint32_t width, uint64_t value) {
  if (width == HALF) {
    return half_write(address, static_cast<uint32_t>(value));
  }
  card_lock lock;
  if (width > WORD && !lock.take()) {
    return card_write::lock;
  }
  if (write_val_to_kx(address, static_cast<uint32_t>(value)) != 0) {
    return card_write::low;
  }
  return width == WORD || write_val_to_kx(address + 4, static_cast<uint32_t>(value >> 32)) == 0 ? card_write::done
                                                                                                : card_write::high;
}
