// Where the entries of a table are found, and their order: a ring of slots that holds their numbers by checksum, then
// by key. A checksum has a home slot; what does not stand there follows without a gap, over the end of the ring too.
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
/// Asks for the entry of the first slot of an order.
void dpp_hash_index_fetch(const dpp_hash_table& table, uint32_t order, uint32_t at);
/// The entry of a key among those of its order from slot `*at` on, which becomes its slot. Null when it is absent, and
/// `*at` is the slot where it would come to stand.
dpp_hash_entry* dpp_hash_index_match(const dpp_hash_table& table, uint32_t order, const uint8_t* key, uint32_t* at);

/// Puts an entry where a look-up of it ended; there is room.
void dpp_hash_index_put(dpp_hash_index* index, const dpp_hash_entry& entry, uint32_t at);
void dpp_hash_index_drop(dpp_hash_index* index, uint32_t at);

/// Visits the slots that are taken, in order, up to the first code that is not 0, which it returns.
template <typename Visit>
uint32_t dpp_hash_index_each(const dpp_hash_index& index, Visit visit) {
  // What went over the end of the ring is the last of it.
  uint32_t first = 0;
  while (index.slot[first].number != 0 && dpp_hash_index_home(index, index.slot[first].order) > first) {
    first = dpp_hash_index_next(index, first);
  }
  uint32_t at = first;
  do {
    if (const uint32_t code = index.slot[at].number != 0 ? visit(index.slot[at]) : 0; code != 0) {
      return code;
    }
    at = dpp_hash_index_next(index, at);
  } while (at != first);
  return 0;
}
