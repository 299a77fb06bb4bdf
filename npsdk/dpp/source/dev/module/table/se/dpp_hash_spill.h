// The spill area of a table in DDR: which quarters of its items are taken.
#pragma once

#include "dpp_hash_entry.h"

/// Takes memory for the area, if the table has one, 0 or 0x1201.
uint32_t dpp_hash_spill_init(dpp_hash_table* table);
void dpp_hash_spill_release(dpp_hash_table* table);

/// The item of an order.
inline uint32_t dpp_hash_spill_item(const dpp_hash_table& table, uint32_t order) {
  return static_cast<uint32_t>(uint64_t{order} * table.ddr_items >> 32);
}
/// Asks for what is known of an item.
void dpp_hash_spill_prefetch(const dpp_hash_table& table, uint32_t order);
/// Puts the entry into the first free quarters of its item that fit it, or DPP_HASH_RC_ITEM_FULL.
uint32_t dpp_hash_spill_put(const dpp_hash_table& table, dpp_hash_entry* entry);
/// Whether the quarters of an entry that was put are taken, and a change of that.
bool dpp_hash_spill_has(const dpp_hash_table& table, const dpp_hash_entry& entry);
void dpp_hash_spill_set(const dpp_hash_table& table, const dpp_hash_entry& entry, bool stands);
