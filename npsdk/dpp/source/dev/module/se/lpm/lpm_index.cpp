#include "lpm_index.h"

#include <cstring>

#include "lpm_stem_table.h"
#include "qlix_comm/memory.h"

namespace {

/// Routes from which on a trie keeps an index.
constexpr uint32_t INDEX_ROUTES = 2048;
constexpr uint32_t STEM_TABLES_MAX = 3;

struct lpm_index_entry {
  lpm_trie_node* top;   ///< highest node of at least LPM_INDEX_BITS bits, null for none
  lpm_trie_node* best;  ///< longest route of fewer bits, null for none
};

/// Stem lengths, counted from the end of the key: short keys are IPv4 addresses, most of whose routes have 24 bits,
/// long ones IPv6 addresses with 48, 40 and 32; a virtual-routing number may stand before either.
struct stem_choice {
  uint32_t key_bytes_max;
  uint32_t from_end[STEM_TABLES_MAX];  ///< 0 ends the list
};
constexpr stem_choice STEM_CHOICES[] = {{3, {}}, {8, {8, 12}}, {LPM_KEY_BYTES_MAX, {80, 88, 96}}};

const stem_choice& choice_of(uint32_t key_bytes) {
  const stem_choice* choice = STEM_CHOICES;
  while (choice->key_bytes_max < key_bytes) {
    choice++;
  }
  return *choice;
}

}  // namespace

struct lpm_index {
  lpm_stem_table tables[STEM_TABLES_MAX];
  uint32_t table_num;
  lpm_index_entry stems[size_t{1} << LPM_INDEX_BITS];
};

namespace {

uint64_t stem_of(uint64_t first_word, uint32_t bits) {
  return first_word & lpm_word_mask(0, bits);
}

size_t slot_of(const lpm_trie_node* node) {
  return static_cast<size_t>(lpm_load_word(node->key) >> (64 - LPM_INDEX_BITS));
}

/// True when the walk below `bits` bits begins at `node`.
bool begins_at(const lpm_trie_node* parent, const lpm_trie_node* node, uint32_t bits) {
  return node->prefix_len >= bits && (parent == nullptr || parent->prefix_len < bits);
}

struct stem_range {
  lpm_index_entry* begin;
  lpm_index_entry* end;
};

stem_range stems_under(const lpm_trie* trie, const lpm_trie_node* node) {
  lpm_index_entry* begin = trie->index->stems + slot_of(node);
  return {begin, begin + (size_t{1} << (LPM_INDEX_BITS - node->prefix_len))};
}

bool make_tables(lpm_index* index, uint32_t key_bytes) {
  for (const uint32_t from_end : choice_of(key_bytes).from_end) {
    const uint32_t bits = key_bytes * 8 - from_end;
    if (from_end == 0 || bits <= LPM_INDEX_BITS || bits > 64) {
      continue;
    }
    if (!lpm_stem_table_init(&index->tables[index->table_num], bits)) {
      return false;
    }
    index->table_num++;
  }
  return true;
}

}  // namespace

void lpm_index_fetch(const lpm_trie* trie, const lpm_key& key) {
  const lpm_index* index = trie->index;
  if (index == nullptr) {
    return;
  }
  for (uint32_t i = 0; i < index->table_num; i++) {
    const lpm_stem_table& table = index->tables[i];
    __builtin_prefetch(lpm_stem_table_home(table, stem_of(key.word[0], table.bits)));
  }
}

lpm_start lpm_index_find(const lpm_trie* trie, const lpm_key& key, uint32_t prefix_len) {
  const lpm_index* index = trie->index;
  const lpm_index_entry& entry = index->stems[key.word[0] >> (64 - LPM_INDEX_BITS)];
  lpm_start start = {entry.top, entry.best, nullptr, prefix_len + 1};
  if (entry.top == nullptr) {
    return start;  // no table knows a node where the array knows none
  }
  lpm_index_fetch(trie, key);
  for (uint32_t i = 0; i < index->table_num; i++) {
    const lpm_stem_table& table = index->tables[i];
    if (prefix_len >= table.bits) {
      if (lpm_trie_node* node = lpm_stem_table_find(table, stem_of(key.word[0], table.bits)); node != nullptr) {
        start.node = node;
        start.top = entry.top;
        break;
      }
      start.limit = table.bits;
    }
  }
  return start;
}

void lpm_index_link(lpm_trie* trie, const lpm_trie_node* parent, lpm_trie_node* node) {
  lpm_index* index = trie->index;
  if (index == nullptr) {
    return;
  }
  if (begins_at(parent, node, LPM_INDEX_BITS)) {
    index->stems[slot_of(node)].top = node;
  }
  for (uint32_t i = 0; i < index->table_num; i++) {
    lpm_stem_table* table = &index->tables[i];
    if (begins_at(parent, node, table->bits) &&
        !lpm_stem_table_set(table, stem_of(lpm_load_word(node->key), table->bits), node)) {
      lpm_index_drop(trie);
      return;
    }
  }
}

void lpm_index_vacate(lpm_trie* trie, const lpm_trie_node* parent, const lpm_trie_node* node) {
  lpm_index* index = trie->index;
  if (index == nullptr) {
    return;
  }
  if (begins_at(parent, node, LPM_INDEX_BITS)) {
    index->stems[slot_of(node)].top = nullptr;
  }
  for (uint32_t i = 0; i < index->table_num; i++) {
    lpm_stem_table* table = &index->tables[i];
    if (begins_at(parent, node, table->bits)) {
      lpm_stem_table_erase(table, stem_of(lpm_load_word(node->key), table->bits));
    }
  }
}

void lpm_index_route_add(lpm_trie* trie, lpm_trie_node* node) {
  if (trie->index == nullptr || node->prefix_len >= LPM_INDEX_BITS) {
    return;
  }
  const stem_range range = stems_under(trie, node);
  for (lpm_index_entry* entry = range.begin; entry != range.end; entry++) {
    if (entry->best == nullptr || entry->best->prefix_len < node->prefix_len) {
      entry->best = node;
    }
  }
}

void lpm_index_route_remove(lpm_trie* trie, const lpm_trie_node* node) {
  if (trie->index == nullptr || node->prefix_len >= LPM_INDEX_BITS) {
    return;
  }
  lpm_trie_node* heir = node->parent;
  while (heir != nullptr && heir->valid == 0) {
    heir = heir->parent;
  }
  const stem_range range = stems_under(trie, node);
  for (lpm_index_entry* entry = range.begin; entry != range.end; entry++) {
    if (entry->best == node) {
      entry->best = heir;
    }
  }
}

void lpm_index_grow(lpm_trie* trie) {
  if (trie->index != nullptr || trie->route_num < INDEX_ROUTES || trie->key_size * 8 < LPM_INDEX_BITS) {
    return;
  }
  trie->index = static_cast<lpm_index*>(ic_comm_malloc_memory(sizeof(lpm_index)));
  if (trie->index == nullptr) {
    return;
  }
  std::memset(static_cast<void*>(trie->index), 0, sizeof(lpm_index));
  if (!make_tables(trie->index, trie->key_size)) {
    lpm_index_drop(trie);
    return;
  }
  for (qlix_comm_double_link_node* link = trie->list.first; link != nullptr && trie->index != nullptr;
       link = link->next) {
    auto* node = static_cast<lpm_trie_node*>(link->data);
    lpm_index_link(trie, node->parent, node);
    if (node->valid != 0) {
      lpm_index_route_add(trie, node);
    }
  }
}

void lpm_index_drop(lpm_trie* trie) {
  if (trie->index == nullptr) {
    return;
  }
  for (uint32_t i = 0; i < trie->index->table_num; i++) {
    lpm_stem_table_release(&trie->index->tables[i]);
  }
  ic_comm_free_memory(trie->index);
  trie->index = nullptr;
}
