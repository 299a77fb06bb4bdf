#include "vcard/card_memory.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "vcard/request_log.h"

namespace vcard {

namespace {

constexpr uint64_t word_mask = ~uint64_t{3};

}  // namespace

void CardMemory::attach(uint64_t base, uint64_t size, CardMemoryBlock* block) {
  auto next = claims_.lower_bound(base);
  bool overlaps = next != claims_.end() && next->first - base < size;
  if (next != claims_.begin()) {
    auto before = std::prev(next);
    overlaps = overlaps || base - before->first < before->second.size;
  }
  if (overlaps) {
    fprintf(stderr, "kxvcard: two models claim card address 0x%" PRIx64 "\n", base);
    abort();
  }
  claims_.emplace(base, Claim{size, block});
}

const std::pair<const uint64_t, CardMemory::Claim>* CardMemory::find(uint64_t address) const {
  auto after = claims_.upper_bound(address);
  if (after == claims_.begin()) {
    return nullptr;
  }
  auto claim = std::prev(after);
  return address - claim->first < claim->second.size ? &*claim : nullptr;
}

uint32_t CardMemory::peek(uint64_t address) {
  address &= word_mask;
  if (const auto* claim = find(address)) {
    return claim->second.block->read(address - claim->first);
  }
  auto word = ram_.find(address);
  return word != ram_.end() ? word->second : 0;
}

void CardMemory::poke(uint64_t address, uint32_t value) {
  address &= word_mask;
  if (const auto* claim = find(address)) {
    claim->second.block->write(address - claim->first, value);
  } else {
    ram_[address] = value;
  }
}

uint32_t CardMemory::read(uint64_t address) {
  uint32_t value = peek(address);
  log_.line("card_read address=0x%" PRIx64 " value=0x%08x", address & word_mask, value);
  return value;
}

void CardMemory::write(uint64_t address, uint32_t value) {
  log_.line("card_write address=0x%" PRIx64 " value=0x%08x", address & word_mask, value);
  poke(address, value);
}

}  // namespace vcard
