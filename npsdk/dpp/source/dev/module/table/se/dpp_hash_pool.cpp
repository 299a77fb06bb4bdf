#include "dpp_hash_pool.h"

#include "qlix_comm/memory.h"
#include "qlix_comm/prefetch.h"

namespace {

constexpr size_t CACHE_LINE = 64;
constexpr uint32_t FIRST_ROOM = 8;  // slabs that the first list of them has room for
/// Number 0 is nobody's.
constexpr uint32_t NONE = 0;

// All entries that have a place at once, and one more that looks for it, have a number.
static_assert((DPP_HASH_DDR_ITEMS_MAX + DPP_HASH_ZCELL_NUM * DPP_HASH_ITEM_NUM + DPP_HASH_ZBLOCK_NUM) *
                  DPP_HASH_QUARTERS <
              DPP_HASH_NUMBERS - 2);

/// Makes room in the list of slabs for one more.
bool list_grow(dpp_hash_pool* pool) {
  if (pool->slab_num < pool->slab_room) {
    return true;
  }
  const uint32_t room = std::max(FIRST_ROOM, pool->slab_room * 2);
  auto* slab = static_cast<dpp_hash_slab*>(ic_comm_malloc_memory(room * sizeof(dpp_hash_slab)));
  if (slab == nullptr) {
    return false;
  }
  std::copy_n(pool->slab, pool->slab_num, slab);
  ic_comm_free_memory(pool->slab);
  pool->slab = slab;
  pool->slab_room = room;
  return true;
}

bool grow(dpp_hash_pool* pool) {
  // What is there already, within limits: it doubles, and later grows by the same.
  const size_t num = std::clamp(pool->room, DPP_HASH_SLAB_FIRST, DPP_HASH_SLAB_LAST);
  if (!list_grow(pool)) {
    return false;
  }
  void* first = nullptr;
  void* const memory = ic_comm_malloc_block(num * pool->entry_bytes, &first);
  if (memory == nullptr) {
    return false;
  }
  pool->slab[pool->slab_num++] = {memory, static_cast<uint8_t*>(first)};
  pool->room += static_cast<uint32_t>(num);
  return true;
}

/// A number that was given back names the one given back before it where its entry had the order.
uint32_t given_before(const dpp_hash_entry* entry) {
  return dpp_se_word_get(entry->order);
}

}  // namespace

void dpp_hash_pool_init(dpp_hash_pool* pool, uint32_t bytes) {
  const auto all = static_cast<uint32_t>(DPP_HASH_ENTRY_BYTES + bytes);
  *pool = {};
  pool->entry_bytes = all <= CACHE_LINE ? std::bit_ceil(all) : (all + 15) / 16 * 16;
  pool->fresh = NONE + 1;
}

dpp_hash_entry* dpp_hash_pool_take(dpp_hash_pool* pool) {
  uint32_t number = pool->given;
  if (number != NONE) {
    pool->given = given_before(dpp_hash_pool_entry(*pool, number));
  } else {
    if (pool->fresh >= pool->room && !grow(pool)) {
      return nullptr;
    }
    number = pool->fresh++;
  }
  dpp_hash_entry* entry = dpp_hash_pool_entry(*pool, number);
  entry->number = number & (DPP_HASH_NUMBERS - 1);
  // The next one, mostly, for the next call.
  qlix_comm_prefetch(reinterpret_cast<const uint8_t*>(entry) + pool->entry_bytes);
  return entry;
}

void dpp_hash_pool_give(dpp_hash_pool* pool, dpp_hash_entry* entry) {
  dpp_se_word_put(entry->order, pool->given);
  pool->given = entry->number;
}

void dpp_hash_pool_release(dpp_hash_pool* pool) {
  for (uint32_t i = 0; i < pool->slab_num; i++) {
    ic_comm_free_memory(pool->slab[i].memory);
  }
  ic_comm_free_memory(pool->slab);
  *pool = {};
}
