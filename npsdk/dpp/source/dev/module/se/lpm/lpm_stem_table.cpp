#include "lpm_stem_table.h"

#include <bit>
#include <cstring>

#include "qlix_comm/memory.h"

namespace {

constexpr uint64_t FIRST_ENTRIES = 4096;
/// The largest table that one request can hold with what aligns it; beyond, the index is given up.
constexpr uint64_t ENTRIES_MAX = QLIX_COMM_MALLOC_MAX / sizeof(lpm_stem_entry) / 2;

uint64_t home_of(const lpm_stem_table& table, uint64_t stem) {
  // The stem stands in the upper bits; the product spreads it over the upper half again.
  // A table in use has stems of 1 bit and more.
  // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult)
  const uint64_t spread = (stem >> (64 - table.bits)) * 0x9E3779B97F4A7C15ull;
  return spread >> std::countl_zero(table.mask);
}

/// An empty table of `num` entries; its entries are null without memory.
lpm_stem_table make_table(uint32_t bits, uint64_t num) {
  lpm_stem_table table = {bits, 0, num - 1, nullptr, nullptr};
  void* first = nullptr;
  table.memory = ic_comm_malloc_block(num * sizeof(lpm_stem_entry), &first);
  if (table.memory != nullptr) {
    std::memset(first, 0, num * sizeof(lpm_stem_entry));
    table.entries = static_cast<lpm_stem_entry*>(first);
  }
  return table;
}

void put(const lpm_stem_table& table, uint64_t stem, lpm_trie_node* node) {
  uint64_t at = home_of(table, stem);
  while (table.entries[at].node != nullptr) {
    at = (at + 1) & table.mask;
  }
  table.entries[at] = {stem, node};
}

bool grow(lpm_stem_table* table) {
  const uint64_t num = (table->mask + 1) * 2;
  if (num > ENTRIES_MAX) {
    return false;
  }
  lpm_stem_table larger = make_table(table->bits, num);
  if (larger.entries == nullptr) {
    return false;
  }
  larger.used = table->used;
  for (uint64_t i = 0; i <= table->mask; i++) {
    if (table->entries[i].node != nullptr) {
      put(larger, table->entries[i].stem, table->entries[i].node);
    }
  }
  ic_comm_free_memory(table->memory);
  *table = larger;
  return true;
}

/// Entry of the stem, or the free one where it would go.
lpm_stem_entry* locate(const lpm_stem_table& table, uint64_t stem) {
  uint64_t at = home_of(table, stem);
  while (table.entries[at].node != nullptr && table.entries[at].stem != stem) {
    at = (at + 1) & table.mask;
  }
  return &table.entries[at];
}

}  // namespace

bool lpm_stem_table_init(lpm_stem_table* table, uint32_t bits) {
  *table = make_table(bits, FIRST_ENTRIES);
  return table->entries != nullptr;
}

void lpm_stem_table_release(lpm_stem_table* table) {
  ic_comm_free_memory(table->memory);
  *table = {};
}

const lpm_stem_entry* lpm_stem_table_home(const lpm_stem_table& table, uint64_t stem) {
  return &table.entries[home_of(table, stem)];
}

lpm_trie_node* lpm_stem_table_find(const lpm_stem_table& table, uint64_t stem) {
  return locate(table, stem)->node;
}

bool lpm_stem_table_set(lpm_stem_table* table, uint64_t stem, lpm_trie_node* node) {
  lpm_stem_entry* entry = locate(*table, stem);
  if (entry->node != nullptr) {
    entry->node = node;
    return true;
  }
  if (table->used >= table->mask / 8 * 5) {
    if (!grow(table)) {
      return false;
    }
    entry = locate(*table, stem);
  }
  *entry = {stem, node};
  table->used++;
  return true;
}

void lpm_stem_table_erase(lpm_stem_table* table, uint64_t stem) {
  lpm_stem_entry* entry = locate(*table, stem);
  if (entry->node == nullptr) {
    return;
  }
  table->used--;
  // What stands behind the gap moves up when its home allows it, so that every probe still meets no gap on its way.
  uint64_t gap = static_cast<uint64_t>(entry - table->entries);
  for (uint64_t at = (gap + 1) & table->mask; table->entries[at].node != nullptr; at = (at + 1) & table->mask) {
    const uint64_t home = home_of(*table, table->entries[at].stem);
    if (((at - home) & table->mask) >= ((at - gap) & table->mask)) {
      table->entries[gap] = table->entries[at];
      gap = at;
    }
  }
  table->entries[gap] = {};
}
