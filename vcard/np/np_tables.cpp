#include "vcard/np_tables.h"

#include <algorithm>

namespace vcard {

namespace {

constexpr uint32_t line_bits = 128;
constexpr uint32_t register_mask = 0x7ff;
constexpr uint32_t hash_polynomial_register = 2;
constexpr uint32_t hash_polynomial_reset = 0x1021;

/// Where an entry of at most 32 bits lies in its line.
struct Slot {
  uint32_t line;
  uint32_t word;
  uint32_t shift;
  uint32_t mask;
};

Slot slot_of(uint32_t bits, uint32_t index) {
  const uint32_t per_line = line_bits / bits;
  const uint32_t first_bit = index % per_line * bits;  // from the most significant end
  const uint32_t mask = bits == 32 ? UINT32_MAX : (1u << bits) - 1;
  return {index / per_line, first_bit / 32, 32 - bits - first_bit % 32, mask};
}

}  // namespace

ZcamLine& NpTables::zblock_register(uint32_t place) {
  place %= zcam_places;
  const auto [found, made] = zblock_registers_.try_emplace(place);
  if (made && (place & register_mask) == hash_polynomial_register) {
    found->second.back() = hash_polynomial_reset;
  }
  return found->second;
}

void NpTables::eram_read(uint32_t bits, uint32_t index, std::span<uint32_t, 4> words) {
  std::fill(words.begin(), words.end(), 0);
  if (bits == 128) {
    std::copy_n(eram(index).begin(), 4, words.begin());
  } else if (bits == 64) {
    std::copy_n(&eram(index / 2)[size_t{index % 2} * 2], 2, words.begin());
  } else {
    const Slot slot = slot_of(bits, index);
    words[0] = eram(slot.line)[slot.word] >> slot.shift & slot.mask;
  }
}

void NpTables::eram_write(uint32_t bits, uint32_t index, std::span<const uint32_t, 4> words) {
  if (bits == 128) {
    std::copy_n(words.begin(), 4, eram(index).begin());
  } else if (bits == 64) {
    std::copy_n(words.begin(), 2, &eram(index / 2)[size_t{index % 2} * 2]);
  } else {
    const Slot slot = slot_of(bits, index);
    uint32_t& word = eram(slot.line)[slot.word];
    word = (word & ~(slot.mask << slot.shift)) | (words[0] & slot.mask) << slot.shift;
  }
}

}  // namespace vcard
