// Items of the hash memories and what stands in them.
#pragma once

#include "dpp_hash_entry.h"

// The three kinds of place, each returning 0, DPP_HASH_RC_ITEM_FULL when it has no room, or a code. On success the
// entry knows its location and quarter.
uint32_t dpp_hash_insert_ddr(dpp_hash* hash, dpp_hash_entry* entry);
uint32_t dpp_hash_insert_zcell(dpp_hash* hash, dpp_hash_entry* entry);
uint32_t dpp_hash_insert_zreg(dpp_hash* hash, dpp_hash_entry* entry);

/// Lets the shadow name the entry where it was placed, or no longer.
void dpp_hash_shadow_set(dpp_hash* hash, dpp_hash_entry* entry, bool stands);

/// Writes the quarters of the entry as they stand in its item now: the entry itself, or nothing after its removal.
/// Does nothing while the engine's soft-reset flag is set. `owed`: a refused write is a debt of the record.
uint32_t dpp_hash_write_hardware(dpp_hash* hash, const dpp_hash_entry* entry, bool owed = false);
