// The spill area of a table in DDR as the driver has it: for each item as many slots as it has room for entries. A slot
// is one word that tells most of what is asked without a look at the entry: whether it is taken, by whom, and some bits
// of that one's checksum.
//
// A key's place is its checksum with the bits that choose the item in front: `order`. Entries in this order are
// neighbours in the tree as in the spill area.
#pragma once

#include "dpp_hash_entry.h"

/// Takes memory for the area, 0 or 0x1201.
uint32_t dpp_hash_spill_init(dpp_hash_table* table);
void dpp_hash_spill_release(dpp_hash_table* table);

/// Place of a key of the table, 0 in a table without spill area.
uint32_t dpp_hash_spill_order(const dpp_hash_table& table, const uint8_t* key);
/// The item of a place.
inline uint32_t dpp_hash_spill_item(const dpp_hash_table& table, uint32_t order) {
  return static_cast<uint32_t>(uint64_t{order} * table.ddr_items >> 32);
}

/// Asks for what is known of an item and of those around it.
void dpp_hash_spill_prefetch(const dpp_hash_table& table, uint32_t order);
/// The entry of a key, null when it is not in its item.
dpp_hash_entry* dpp_hash_spill_find(const dpp_hash_table& table, uint32_t order, const uint8_t* key);
/// True when the item was full once: keys that belong there may stand elsewhere.
bool dpp_hash_spill_passed(const dpp_hash_table& table, uint32_t order);

/// Puts the entry into its item; a full one becomes passed: DPP_HASH_RC_ITEM_FULL.
uint32_t dpp_hash_spill_put(const dpp_hash_table& table, dpp_hash_entry* entry);
/// Whether the entry stands in its slot, and a change of that.
bool dpp_hash_spill_has(const dpp_hash_table& table, const dpp_hash_entry& entry);
void dpp_hash_spill_set(const dpp_hash_table& table, const dpp_hash_entry& entry, bool stands);

/// The nodes of the entries closest before and behind an entry's place, null where there is none shortly.
struct dpp_hash_beside {
  const qlix_comm_rb_node* before;
  const qlix_comm_rb_node* behind;
};
dpp_hash_beside dpp_hash_spill_beside(const dpp_hash_table& table, const dpp_hash_entry& entry);
