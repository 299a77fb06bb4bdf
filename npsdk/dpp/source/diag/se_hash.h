// Items of hash memory as the chip reads them (dpp_se_format.h).
#pragma once

#include <cstdint>

#include "dpp_se/dpp_se_format.h"

inline constexpr uint32_t SE_ITEM_WORDS = DPP_SE_ITEM_BYTES / 4;

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
/// The byte of the item at which the key's entry begins, or DPP_SE_ITEM_BYTES.
uint32_t se_item_search(const uint8_t* item, const se_hash_key& key);
/// Every entry and empty quarter of an item.
void se_item_print(const uint8_t* item);

/// Item `index` of a DDR area at `base` (units of 4 KiB) as bytes. 0x1205 for a place behind the memory's end.
uint32_t se_ddr_item_read(uint32_t dev_id, uint32_t base, uint32_t index, uint8_t* item);
