// The tree of a table. A change of it touches nodes that lie anywhere in memory, so the last one waits, while those are
// fetched, until the next operation has something to wait for; what it has to do with the operation that called for it,
// its place and the chip, is done.
#pragma once

#include "dpp_hash_entry.h"

/// Carries out what waits.
void dpp_hash_tree_settle(dpp_hash_table* table);
/// Links the entry of a key that is absent; `near` is a linked node near its place, null when none is known. Nothing
/// waits.
void dpp_hash_tree_enter(dpp_hash_table* table, dpp_hash_entry* entry, qlix_comm_rb_node* near);
/// Takes a linked entry out and gives its record back. Nothing waits.
void dpp_hash_tree_leave(dpp_hash_table* table, dpp_hash_entry* entry);
