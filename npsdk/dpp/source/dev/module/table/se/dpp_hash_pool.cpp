#include "dpp_hash_pool.h"

#include <sys/mman.h>

#include <algorithm>
#include <memory>

#include "qlix_comm/memory.h"

namespace {

constexpr size_t CACHE_LINE = 64;
constexpr size_t LARGE_PAGE = size_t{2} << 20;
// A slab is as large as all before it together. What aligns it is never touched and costs addresses only.
constexpr size_t FIRST_SLAB = size_t{4} << 10;
constexpr size_t LAST_SLAB = size_t{8} << 20;

struct slab_head {
  slab_head* next;
};
struct free_record {
  free_record* next;
};

bool grow(dpp_hash_pool* pool) {
  const size_t bytes = std::clamp(pool->slab_bytes * 2, FIRST_SLAB, LAST_SLAB);
  const size_t alignment = bytes < LARGE_PAGE ? CACHE_LINE : LARGE_PAGE;
  auto* slab = static_cast<slab_head*>(ic_comm_malloc_memory(sizeof(slab_head) + alignment + bytes));
  if (slab == nullptr) {
    return false;
  }
  slab->next = static_cast<slab_head*>(pool->slabs);
  pool->slabs = slab;
  pool->slab_bytes = bytes;
  void* first = slab + 1;
  size_t room = alignment + bytes;
  pool->fresh = static_cast<uint8_t*>(std::align(alignment, bytes, first, room));
  pool->fresh_bytes = bytes;
  dpp_hash_memory_wide(pool->fresh, bytes);
  return true;
}

}  // namespace

void dpp_hash_memory_wide(void* memory, size_t bytes) {
  void* first = memory;
  size_t room = bytes;
  if (std::align(LARGE_PAGE, LARGE_PAGE, first, room) != nullptr) {
    madvise(first, room / LARGE_PAGE * LARGE_PAGE, MADV_HUGEPAGE);
  }
}

void dpp_hash_pool_init(dpp_hash_pool* pool, size_t bytes) {
  *pool = {};
  pool->record_bytes = static_cast<uint32_t>((bytes + CACHE_LINE - 1) / CACHE_LINE * CACHE_LINE);
}

void* dpp_hash_pool_take(dpp_hash_pool* pool) {
  if (pool->free_records != nullptr) {
    auto* record = static_cast<free_record*>(pool->free_records);
    pool->free_records = record->next;
    return record;
  }
  if (pool->fresh_bytes < pool->record_bytes && !grow(pool)) {
    return nullptr;
  }
  uint8_t* record = pool->fresh;
  pool->fresh += pool->record_bytes;
  pool->fresh_bytes -= pool->record_bytes;
  for (size_t line = 0; line < pool->record_bytes; line += CACHE_LINE) {
    __builtin_prefetch(pool->fresh + line, 1);  // the next record, for the next call
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
  *pool = {};
}
