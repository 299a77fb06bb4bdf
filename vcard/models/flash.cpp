#include "flash.h"

#include <algorithm>

namespace vcard {

namespace {

/// The part of [address, address + length) that lies in the flash.
std::span<uint8_t> cut(std::span<uint8_t> flash, uint64_t address, uint64_t length) {
  const uint64_t start = std::min<uint64_t>(address, flash.size());
  return flash.subspan(start, std::min<uint64_t>(length, flash.size() - start));
}

}  // namespace

void Flash::erase(uint64_t address, uint64_t length) {
  const uint64_t start = address / block_size * block_size;
  const uint64_t end = (address + length + block_size - 1) / block_size * block_size;
  std::ranges::fill(cut(storage_.bytes(), start, end - start), uint8_t{0xff});
}

void Flash::write(uint64_t address, ByteView data) {
  const std::span<uint8_t> cells = cut(storage_.bytes(), address, data.size());
  for (size_t i = 0; i < cells.size(); ++i) {
    cells[i] &= data[i];
  }
}

uint32_t Flash::sum(uint64_t address, uint64_t length) const {
  uint32_t total = 0;
  for (const uint8_t cell : cut(storage_.bytes(), address, length)) {
    total += cell;
  }
  return total;
}

}  // namespace vcard
