// One entry of a hash table.
#pragma once

#include <cstddef>

#include "dpp_hash_table.h"

inline constexpr uint32_t DPP_HASH_NUMBER_BITS = 26;
inline constexpr uint32_t DPP_HASH_NUMBERS = 1u << DPP_HASH_NUMBER_BITS;

/// What the driver knows of an entry and, behind that, its bytes as the chip has them: head, key and result.
struct dpp_hash_entry {
  uint32_t number : DPP_HASH_NUMBER_BITS;  ///< in its table's pool
  uint32_t kind : 2;                       ///< low bits of the kind in its location word, 0 while it has no place
  uint32_t quarter : 2;
  uint16_t cell;     ///< low bits of its location word: zcell and item
  uint8_t order[4];  ///< big-endian

  uint8_t* image() {
    return order + sizeof(order);
  }
  const uint8_t* image() const {
    return order + sizeof(order);
  }
  uint8_t* key() {
    return image() + DPP_HASH_HEAD_BYTES;
  }
  const uint8_t* key() const {
    return image() + DPP_HASH_HEAD_BYTES;
  }
  uint8_t* rst(const dpp_hash_table& of_table) {
    return key() + of_table.key_len;
  }
  const uint8_t* rst(const dpp_hash_table& of_table) const {
    return key() + of_table.key_len;
  }
  uint32_t engine() const {
    return image()[1];
  }
  uint32_t table() const {
    return image()[0] & (DPP_HASH_TABLE_NUM - 1);
  }
};
/// Of an entry, before its image.
inline constexpr size_t DPP_HASH_ENTRY_BYTES = offsetof(dpp_hash_entry, order) + sizeof(dpp_hash_entry::order);

inline dpp_hash_table& dpp_hash_table_of(dpp_hash* hash, const dpp_hash_entry& entry) {
  return *hash->engine[entry.engine()].table[entry.table()];
}
/// Quarters of an item that an entry of the table covers.
inline uint32_t dpp_hash_quarters(const dpp_hash_table& table) {
  return table.entry_bytes / 16;
}

// The place of an entry.

/// Where the kind of place begins in a location word.
inline constexpr uint32_t DPP_HASH_LOCATION_SHIFT = 17;

inline bool dpp_hash_stands_in(const dpp_hash_entry& entry, uint32_t kind) {
  return entry.kind == (kind & 3);
}
inline uint32_t dpp_hash_location(const dpp_hash_entry& entry) {
  constexpr uint32_t COMMON = DPP_HASH_LOCATION_ZCELL & DPP_HASH_LOCATION_ZREG & DPP_HASH_LOCATION_DDR;
  return (COMMON | entry.kind) << DPP_HASH_LOCATION_SHIFT | entry.cell;
}
