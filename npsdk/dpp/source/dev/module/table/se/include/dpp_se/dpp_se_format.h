// How the search engine's items look in its memories, for whoever writes them and for whoever reads them back.
#pragma once

#include <algorithm>
#include <cstdint>

/// A word as the chip has it, most significant byte first.
inline void dpp_se_word_put(uint8_t* bytes, uint32_t word) {
  for (uint32_t i = 0; i < 4; i++) {
    bytes[i] = static_cast<uint8_t>(word >> (24 - 8 * i));
  }
}
inline uint32_t dpp_se_word_get(const uint8_t* bytes) {
  uint32_t word = 0;
  for (uint32_t i = 0; i < 4; i++) {
    word = word << 8 | bytes[i];
  }
  return word;
}

/// Whether two keys share their first `bits` bits.
inline bool dpp_se_bits_shared(const uint8_t* a, const uint8_t* b, uint32_t bits) {
  const uint32_t rest = bits % 8;
  return std::equal(a, a + bits / 8, b) && (rest == 0 || ((a[bits / 8] ^ b[bits / 8]) & 0xFF00 >> rest & 0xFF) == 0);
}

/// An item of 512 bits, in four quarters.
inline constexpr uint32_t DPP_SE_ITEM_BYTES = 64;
inline constexpr uint32_t DPP_SE_QUARTER_BYTES = 16;

// An entry of a hash table stands at a multiple of its width of 128, 256 or 512 bits: its head, then key and result.
inline constexpr uint32_t DPP_HASH_HEAD_BYTES = 2;  ///< of an entry, before the key; byte 1 is the engine
inline constexpr uint8_t DPP_HASH_HEAD_VALID = 0x80;
inline constexpr uint32_t DPP_HASH_HEAD_WIDTH_SHIFT = 5;  ///< two bits: 16 << width bytes
inline constexpr uint32_t DPP_HASH_HEAD_WIDTH_MASK = 3;
inline constexpr uint32_t DPP_HASH_HEAD_TABLE_MASK = 0x1F;

// A route area, in rows of 128 bits from its base: the head, the chain heads, the items. Numbers in it are big-endian.
inline constexpr uint32_t DPP_ROUTE_ROW_BYTES = 16;
inline constexpr uint32_t DPP_ROUTE_HEAD_ROWS = 4;  ///< valid, key bytes, log2 of chains, slots; the lengths in use
/// Valid and routes, anchor length, kept bytes, next item; the rest.
inline constexpr uint32_t DPP_ROUTE_ITEM_ROWS = 4;
inline constexpr uint32_t DPP_ROUTE_CHAINS_IN_ROW = 4;
inline constexpr uint32_t DPP_ROUTE_HEAD_BITS_MAX = 24;  ///< log2 of chains
inline constexpr uint8_t DPP_ROUTE_VALID = 0x80;         ///< byte 0 of head and items
inline constexpr uint32_t DPP_ROUTE_LENGTHS_OFFSET = 8;  ///< byte in the head; bit 7 of the first stands for length 0
// An item's routes share the whole bytes of its anchor, which stand once, before the slots. A slot has as many bytes of
// the key behind those as the item's longest route needs.
inline constexpr uint32_t DPP_ROUTE_ANCHOR_OFFSET = 8;  ///< byte in an item
/// Length (8 bits) and result (24 bits), behind the key bytes.
inline constexpr uint32_t DPP_ROUTE_SLOT_TAIL_BYTES = 4;
