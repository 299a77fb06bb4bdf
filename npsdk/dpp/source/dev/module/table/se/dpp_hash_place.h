// Items of the hash memories and what stands in them.
#pragma once

#include <cstddef>
#include <span>

#include "dpp_se/dpp_hash.h"

/// Where the kind of place begins in a location word.
inline constexpr uint32_t DPP_HASH_LOCATION_SHIFT = 17;

/// One entry; its bytes as the chip has them, head, key and result, follow the record. Records begin on a cache line,
/// which the node fills: a walk of the tree touches nothing else unless keys share their first four bytes.
///
/// The tree's key is `order`, then head and key as they stand in the image: entries of one spill item are neighbours in
/// the tree, and those of near items are near, so that the item shows where in the tree a new entry goes.
struct dpp_hash_entry {
  qlix_comm_rb_node node;
  uint32_t location : 21;
  uint32_t quarter : 2;
  uint32_t engine : 3;
  uint32_t table : 5;
  uint8_t order[4];

  static dpp_hash_entry* of(void* tree_node) {
    return static_cast<dpp_hash_entry*>(tree_node);
  }
  uint8_t* image() {
    return reinterpret_cast<uint8_t*>(this + 1);
  }
  const uint8_t* image() const {
    return reinterpret_cast<const uint8_t*>(this + 1);
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
};
static_assert(offsetof(dpp_hash_entry, node) == 0 && sizeof(dpp_hash_entry) == sizeof(qlix_comm_rb_node) + 8);
static_assert(offsetof(dpp_hash_entry, order) + 4 == sizeof(dpp_hash_entry));

inline dpp_hash_table& dpp_hash_table_of(dpp_hash* hash, const dpp_hash_entry& entry) {
  return hash->engine[entry.engine].table[entry.table];
}
/// Quarters of an item that an entry of the table covers.
inline uint32_t dpp_hash_quarters(const dpp_hash_table& table) {
  return table.entry_bytes / 16;
}

/// Entries that an item of the table's spill area has room for.
inline uint32_t dpp_hash_ddr_room(const dpp_hash_table& table) {
  return DPP_SE_ITEM_BYTES / table.entry_bytes;
}

/// Where the shadow names the entry: one pointer in the spill area, else one for each quarter that it covers.
std::span<dpp_hash_entry*> dpp_hash_slots_of(dpp_hash* hash, const dpp_hash_entry& entry);

/// Checksum of a key, from which its place in the spill area and in the tree follow; 0 in a table without spill area.
/// `crc_key` is the shaped key.
uint32_t dpp_hash_ddr_crc(const dpp_hash_table& table, const uint8_t* crc_key);
/// Item of the spill area where a key of this checksum belongs.
inline uint32_t dpp_hash_ddr_index(const dpp_hash_table& table, uint32_t crc) {
  return crc & (table.ddr_items - 1);
}
/// Item of the spill area of an entry in a table that has one.
uint32_t dpp_hash_ddr_index_of(const dpp_hash_table& table, const dpp_hash_entry& entry);
/// The place of the checksum in the tree: spill items in their order.
void dpp_hash_order_set(const dpp_hash_table& table, uint32_t crc, uint8_t* order);
/// What the shadow names for an item of the spill area.
std::span<dpp_hash_entry*> dpp_hash_ddr_slots(const dpp_hash_table& table, uint32_t index);
/// An entry in an item of the spill area or in one shortly behind it, null when there is none.
dpp_hash_entry* dpp_hash_ddr_near(const dpp_hash_table& table, uint32_t index);

// The three kinds of place, each returning 0, DPP_HASH_RC_ITEM_FULL when it has no room, or a code. On success the
// entry knows its location and quarter.
uint32_t dpp_hash_insert_ddr(dpp_hash* hash, dpp_hash_entry* entry, uint32_t crc);
uint32_t dpp_hash_insert_zcell(dpp_hash* hash, dpp_hash_entry* entry, const uint8_t* crc_key);
uint32_t dpp_hash_insert_zreg(dpp_hash* hash, dpp_hash_entry* entry);

/// Writes the quarters of the entry as they stand in its item now: the entry itself, or nothing after its removal.
/// Does nothing while the engine's soft-reset flag is set.
uint32_t dpp_hash_write_hardware(dpp_hash* hash, const dpp_hash_entry* entry);
