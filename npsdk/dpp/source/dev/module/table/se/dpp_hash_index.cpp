#include "dpp_hash_index.h"

#include <cstring>
#include <utility>

#include "qlix_comm/check.h"
#include "qlix_comm/memory.h"

namespace {

constexpr uint32_t FIRST_BITS = 7;

bool is_free(const dpp_hash_index& index, uint32_t at) {
  return index.slot[at].number == 0;
}

/// Slots between a slot and the home of what stands there.
uint32_t distance(const dpp_hash_index& index, uint32_t order, uint32_t at) {
  return (at - dpp_hash_index_home(index, order)) & ((1u << index.bits) - 1);
}

uint32_t slots_take(dpp_hash_index* index, uint32_t bits) {
  const size_t bytes = sizeof(dpp_hash_slot) << bits;
  void* first = nullptr;
  void* const memory = ic_comm_malloc_block(bytes, &first);
  QLIX_COMM_CHECK_POINT(memory);
  *index = {memory, static_cast<dpp_hash_slot*>(std::memset(first, 0, bytes)), bits, 0};
  return QLIX_COMM_OK;
}

void slot_put(dpp_hash_index* index, dpp_hash_slot slot, uint32_t at) {
  // Those behind it move on, up to the next free slot.
  for (; slot.number != 0; at = dpp_hash_index_next(*index, at)) {
    std::swap(index->slot[at], slot);
  }
  index->used++;
}

}  // namespace

uint32_t dpp_hash_index_init(dpp_hash_index* index) {
  return slots_take(index, FIRST_BITS);
}

void dpp_hash_index_release(dpp_hash_index* index) {
  ic_comm_free_memory(index->memory);
}

uint32_t dpp_hash_index_reserve(dpp_hash_index* index) {
  // Three of sixteen stay free, so that most look-ups end in the cache line where they begin.
  const uint32_t num = 1u << index->bits;
  if (index->used < num / 16 * 13) {
    return QLIX_COMM_OK;
  }
  dpp_hash_index larger{};
  QLIX_COMM_CALL(slots_take, &larger, index->bits + 1);
  dpp_hash_index_each(*index, [&larger](const dpp_hash_slot& slot) {
    uint32_t at = dpp_hash_index_seek(larger, slot.order);
    while (!is_free(larger, at) && larger.slot[at].order == slot.order) {
      at = dpp_hash_index_next(larger, at);
    }
    slot_put(&larger, slot, at);
    return 0u;
  });
  dpp_hash_index_release(index);
  *index = larger;
  return QLIX_COMM_OK;
}

uint32_t dpp_hash_index_seek(const dpp_hash_index& index, uint32_t order) {
  uint32_t at = dpp_hash_index_home(index, order);
  for (uint32_t gone = 0; !is_free(index, at); gone++) {
    const uint32_t its = distance(index, index.slot[at].order, at);
    if (its < gone || (its == gone && index.slot[at].order >= order)) {
      break;
    }
    at = dpp_hash_index_next(index, at);
  }
  return at;
}

void dpp_hash_index_fetch(const dpp_hash_table& table, uint32_t order, uint32_t at) {
  const dpp_hash_slot& slot = table.index.slot[at];
  if (slot.number != 0 && slot.order == order) {
    qlix_comm_prefetch(dpp_hash_pool_entry(table.pool, slot.number));
  }
}

dpp_hash_entry* dpp_hash_index_match(const dpp_hash_table& table, uint32_t order, const uint8_t* key, uint32_t* at) {
  const dpp_hash_index& index = table.index;
  for (; !is_free(index, *at) && index.slot[*at].order == order; *at = dpp_hash_index_next(index, *at)) {
    dpp_hash_entry* const entry = dpp_hash_pool_entry(table.pool, index.slot[*at].number);
    if (const int order_of_keys = dpp_hash_rb_key_cmp(entry->key(), key, table.key_len); order_of_keys >= 0) {
      return order_of_keys == 0 ? entry : nullptr;
    }
  }
  return nullptr;
}

void dpp_hash_index_put(dpp_hash_index* index, const dpp_hash_entry& entry, uint32_t at) {
  slot_put(index, {dpp_se_word_get(entry.order), entry.number}, at);
}

void dpp_hash_index_drop(dpp_hash_index* index, uint32_t at) {
  // Those behind it that are not at home move up.
  for (uint32_t next = dpp_hash_index_next(*index, at);
       !is_free(*index, next) && distance(*index, index->slot[next].order, next) != 0;
       next = dpp_hash_index_next(*index, next)) {
    index->slot[at] = index->slot[next];
    at = next;
  }
  index->slot[at] = {};
  index->used--;
}
