#include "dpp_hash_pool.h"

#include <memory>

#include "qlix_comm/memory.h"

namespace {

constexpr size_t CACHE_LINE = 64;
constexpr uint32_t FIRST_RECORDS = 32;
constexpr uint32_t SLAB_RECORDS = 2048;

struct slab_head {
  slab_head* next;
};
struct free_record {
  free_record* next;
};

bool grow(dpp_hash_pool* pool) {
  const uint32_t records = pool->slabs == nullptr ? FIRST_RECORDS : SLAB_RECORDS;
  const size_t bytes = size_t{records} * pool->record_bytes;
  auto* slab = static_cast<slab_head*>(ic_comm_malloc_memory(sizeof(slab_head) + CACHE_LINE + bytes));
  if (slab == nullptr) {
    return false;
  }
  slab->next = static_cast<slab_head*>(pool->slabs);
  pool->slabs = slab;
  void* first = slab + 1;
  size_t room = CACHE_LINE + bytes;
  auto* record = static_cast<uint8_t*>(std::align(CACHE_LINE, bytes, first, room));
  for (uint32_t i = records; i > 0; i--) {
    dpp_hash_pool_give(pool, record + size_t{i - 1} * pool->record_bytes);
  }
  return true;
}

}  // namespace

void dpp_hash_pool_init(dpp_hash_pool* pool, size_t bytes) {
  *pool = {nullptr, nullptr, static_cast<uint32_t>((bytes + CACHE_LINE - 1) / CACHE_LINE * CACHE_LINE)};
}

void* dpp_hash_pool_take(dpp_hash_pool* pool) {
  if (pool->free_records == nullptr && !grow(pool)) {
    return nullptr;
  }
  auto* record = static_cast<free_record*>(pool->free_records);
  pool->free_records = record->next;
  if (record->next != nullptr) {
    // The next record is likely to be taken soon; its second line holds the tree node.
    __builtin_prefetch(record->next, 1);
    __builtin_prefetch(reinterpret_cast<const uint8_t*>(record->next) + CACHE_LINE, 1);
  }
  return record;
}

void dpp_hash_pool_give(dpp_hash_pool* pool, void* record) {
  auto* given = static_cast<free_record*>(record);
  given->next = static_cast<free_record*>(pool->free_records);
  pool->free_records = given;
}

void dpp_hash_pool_release(dpp_hash_pool* pool) {
  auto* slab = static_cast<slab_head*>(pool->slabs);
  while (slab != nullptr) {
    slab_head* next = slab->next;
    ic_comm_free_memory(slab);
    slab = next;
  }
  pool->slabs = nullptr;
  pool->free_records = nullptr;
}
