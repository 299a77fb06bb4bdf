// The tree of a table. A change of it touches nodes that lie anywhere in memory. In a table with a spill area the last
// two changes wait, in their order, while those nodes are fetched; what they have to do with the operation that called
// for them, its place and the chip, is done.
#pragma once

#include "dpp_hash_entry.h"

/// Links the entry of a key that is absent.
void dpp_hash_tree_enter(dpp_hash_table* table, dpp_hash_entry* entry);
/// Takes a linked entry out and gives its record back.
void dpp_hash_tree_leave(dpp_hash_table* table, dpp_hash_entry* entry);
/// Carries out what waits.
void dpp_hash_tree_settle(dpp_hash_table* table);
/// The entry with this tree key, those that wait included, or null.
dpp_hash_entry* dpp_hash_tree_find(const dpp_hash_table& table, const uint8_t* tree_key);
