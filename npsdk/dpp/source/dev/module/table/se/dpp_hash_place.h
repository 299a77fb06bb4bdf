// Items of the hash memories and what stands in them.
#pragma once

#include <cstddef>
#include <span>

#include "dpp_se/dpp_hash.h"

/// One entry; its bytes as the chip has them, head, key and result, follow the record. Records begin on a cache line,
/// which the node fills: a walk of the tree touches nothing else unless keys share their first four bytes.
struct dpp_hash_entry {
  qlix_comm_rb_node node;
  uint32_t location;
  uint32_t ddr_index : 22;
  uint32_t quarter : 2;
  uint32_t engine : 3;
  uint32_t table : 5;

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

// The three kinds of place, each returning 0, DPP_HASH_RC_ITEM_FULL when it has no room, or a code. `crc_key` is the
// shaped key. On success the entry knows its location and quarter.
uint32_t dpp_hash_insert_ddr(dpp_hash* hash, dpp_hash_entry* entry, const uint8_t* crc_key);
uint32_t dpp_hash_insert_zcell(dpp_hash* hash, dpp_hash_entry* entry, const uint8_t* crc_key);
uint32_t dpp_hash_insert_zreg(dpp_hash* hash, dpp_hash_entry* entry);

/// Item of the spill area where a key belongs.
uint32_t dpp_hash_ddr_index(const dpp_hash_table& table, const uint8_t* crc_key);

/// Writes the quarters of the entry as they stand in its item now: the entry itself, or nothing after its removal.
/// Does nothing while the engine's soft-reset flag is set.
uint32_t dpp_hash_write_hardware(dpp_hash* hash, const dpp_hash_entry* entry);
