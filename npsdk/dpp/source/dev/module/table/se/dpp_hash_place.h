// Items of the hash memories and what stands in them.
#pragma once

#include <cstddef>

#include "dpp_se/dpp_hash.h"

/// One entry; key and result follow the record. Records begin on a cache line, and the node stands so that what a walk
/// down the tree reads of it (key pointer, links, the first bytes of the key behind it) shares the next one.
struct dpp_hash_entry {
  dpp_hash_item* item;
  uint32_t location;
  uint32_t ddr_index;
  uint8_t quarter;
  uint8_t engine;
  uint8_t table;
  uint8_t entry_bytes;
  uint8_t key_len;
  uint8_t rst_len;
  uint8_t padding[18];
  qlix_comm_rb_node node;

  static dpp_hash_entry* of(void* tree_node) {
    return reinterpret_cast<dpp_hash_entry*>(static_cast<uint8_t*>(tree_node) - offsetof(dpp_hash_entry, node));
  }
  uint8_t* key() {
    return reinterpret_cast<uint8_t*>(this + 1);
  }
  const uint8_t* key() const {
    return reinterpret_cast<const uint8_t*>(this + 1);
  }
  uint8_t* rst() {
    return key() + key_len;
  }
  const uint8_t* rst() const {
    return key() + key_len;
  }
  uint32_t quarters() const {
    return entry_bytes / 16u;
  }
};
static_assert((offsetof(dpp_hash_entry, node) + offsetof(qlix_comm_rb_node, slot_colour)) % 64 == 0);
static_assert(sizeof(dpp_hash_entry) == offsetof(dpp_hash_entry, node) + sizeof(qlix_comm_rb_node));

/// Puts the entry into the first aligned quarters that are free, DPP_HASH_RC_ITEM_FULL when there are none.
uint32_t dpp_hash_item_put(dpp_hash_item* item, dpp_hash_entry* entry);
void dpp_hash_item_remove(dpp_hash_entry* entry);

// The three kinds of place, each returning 0, DPP_HASH_RC_ITEM_FULL when it has no room, or a code. `crc_key` is the
// shaped key. On success the entry knows its item, location and quarter.
uint32_t dpp_hash_insert_ddr(dpp_hash* hash, dpp_hash_entry* entry, const uint8_t* crc_key);
uint32_t dpp_hash_insert_zcell(dpp_hash* hash, dpp_hash_entry* entry, const uint8_t* crc_key);
uint32_t dpp_hash_insert_zreg(dpp_hash* hash, dpp_hash_entry* entry);

/// Item of the spill area where a key belongs.
uint32_t dpp_hash_ddr_index(const dpp_hash_table& table, const uint8_t* crc_key);

/// Writes the quarters of the entry as they stand in its item now: the entry itself, or nothing after its removal.
/// Does nothing while the engine's soft-reset flag is set.
uint32_t dpp_hash_write_hardware(dpp_hash* hash, const dpp_hash_entry* entry);
