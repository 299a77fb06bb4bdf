// Memory for the entries of one table. They are known by a number, which takes half the room of a pointer where it is
// kept, and lie in slabs that stay where they are: each as large as all before it together, from some size on all
// alike.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>

#include "dpp_hash_entry.h"

inline constexpr uint32_t DPP_HASH_SLAB_FIRST = 1u << 6;
inline constexpr uint32_t DPP_HASH_SLAB_LAST = 1u << 16;

/// Prepares a pool for entries whose image takes `bytes`.
void dpp_hash_pool_init(dpp_hash_pool* pool, uint32_t bytes);
/// An entry with its number, all else undefined. Null without memory.
dpp_hash_entry* dpp_hash_pool_take(dpp_hash_pool* pool);
void dpp_hash_pool_give(dpp_hash_pool* pool, dpp_hash_entry* entry);
/// Gives all memory back, entries in use included.
void dpp_hash_pool_release(dpp_hash_pool* pool);

/// The slab of a number that was taken, and the number's place in it.
inline const dpp_hash_slab& dpp_hash_pool_slab(const dpp_hash_pool& pool, uint32_t number) {
  const uint32_t doubled = std::min(number, DPP_HASH_SLAB_LAST - 1) / DPP_HASH_SLAB_FIRST;
  return pool.slab[static_cast<uint32_t>(std::bit_width(doubled)) + number / DPP_HASH_SLAB_LAST];
}
inline uint32_t dpp_hash_pool_offset(uint32_t number) {
  return number & (std::clamp(std::bit_floor(number), DPP_HASH_SLAB_FIRST, DPP_HASH_SLAB_LAST) - 1);
}
inline dpp_hash_entry* dpp_hash_pool_entry(const dpp_hash_pool& pool, uint32_t number) {
  const size_t at = size_t{dpp_hash_pool_offset(number)} * pool.entry_bytes;
  return reinterpret_cast<dpp_hash_entry*>(dpp_hash_pool_slab(pool, number).entries + at);
}
