// Items of hash memory as the chip reads them: 512 bits in four quarters. An entry begins with its head, valid bit,
// width and table number in the first byte and the engine in the second, then key and result; it stands at a multiple
// of its width of 128, 256 or 512 bits.
#pragma once

#include <cstdint>

inline constexpr uint32_t SE_ITEM_BYTES = 64;
inline constexpr uint32_t SE_ITEM_WORDS = SE_ITEM_BYTES / 4;
inline constexpr uint32_t SE_ENTRY_HEAD_BYTES = 2;
inline constexpr uint32_t SE_QUARTER_BYTES = 16;

struct se_entry_view {
  uint32_t valid;
  uint32_t bytes;  ///< width; of an empty quarter 16
  uint32_t engine;
  uint32_t table;
};
/// The entry, or the empty quarter, that begins at byte `at` of an item (a multiple of 16).
se_entry_view se_entry_at(const uint8_t* item, uint32_t at);

struct se_hash_key {
  uint32_t engine;
  uint32_t table;
  const uint8_t* bytes;
  uint32_t key_len;
  uint32_t rst_len;
};
/// The byte of the item at which the key's entry begins, or SE_ITEM_BYTES.
uint32_t se_item_search(const uint8_t* item, const se_hash_key& key);
/// Every entry and empty quarter of an item.
void se_item_print(const uint8_t* item);

/// Item `index` of a DDR area at `base` (units of 4 KiB) as bytes. 0x1205 for a place behind the memory's end.
uint32_t se_ddr_item_read(uint32_t dev_id, uint32_t base, uint32_t index, uint8_t* item);
