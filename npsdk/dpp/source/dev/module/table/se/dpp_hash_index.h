// Where the entries of a table are found: a ring of slots that holds their numbers in the order of their checksums. A
// checksum has a home slot; what does not stand there follows without a gap. Entries of one checksum stand together,
// and the neighbours of a slot are the neighbours of its entry in the tree.
#pragma once

#include "dpp_hash_pool.h"
#include "qlix_comm/prefetch.h"

/// An empty index, 0 or 0x1201.
uint32_t dpp_hash_index_init(dpp_hash_index* index);
void dpp_hash_index_release(dpp_hash_index* index);
/// Makes room for one more, 0 or 0x1201.
uint32_t dpp_hash_index_reserve(dpp_hash_index* index);

inline uint32_t dpp_hash_index_home(const dpp_hash_index& index, uint32_t order) {
  return order >> (32 - index.bits);
}
inline uint32_t dpp_hash_index_next(const dpp_hash_index& index, uint32_t at) {
  return (at + 1) & ((1u << index.bits) - 1);
}
/// Asks for the slots where a look-up begins.
inline void dpp_hash_index_prefetch(const dpp_hash_index& index, uint32_t order) {
  qlix_comm_prefetch(&index.slot[dpp_hash_index_home(index, order)]);
}

/// The first slot of those that have this order, else the slot where an entry of it would come to stand.
uint32_t dpp_hash_index_seek(const dpp_hash_index& index, uint32_t order);
/// Asks for the entry and the node of the first slot of an order.
void dpp_hash_index_fetch(const dpp_hash_table& table, uint32_t order, uint32_t at);
/// The entry of a key among those of its order from slot `*at` on, which becomes its slot. Null when it is absent.
dpp_hash_entry* dpp_hash_index_match(const dpp_hash_table& table, uint32_t order, const uint8_t* key, uint32_t* at);

/// Puts an entry where a look-up of it ended; there is room. Returns the node of one close to it in the tree, whose
/// cache line and that of the neighbour on the other side are on their way; null when none is near.
qlix_comm_rb_node* dpp_hash_index_put(dpp_hash_table* table, const dpp_hash_entry& entry, uint32_t at);
void dpp_hash_index_drop(dpp_hash_index* index, uint32_t at);
