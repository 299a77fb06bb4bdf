// Hash table from the first `bits` bits of a key to a trie node: open addressing, linear probing, no tombstones.
#pragma once

#include <cstdint>

struct lpm_trie_node;

struct lpm_stem_entry {
  uint64_t stem;
  lpm_trie_node* node;  ///< null: free
};

struct lpm_stem_table {
  uint32_t bits;  ///< 1 to 64
  uint32_t used;
  uint64_t mask;  ///< entries - 1, a power of two less one; 0 for an empty record
  lpm_stem_entry* entries;
  void* memory;  ///< the block that holds them
};

/// Prepares a table; false without memory.
bool lpm_stem_table_init(lpm_stem_table* table, uint32_t bits);
void lpm_stem_table_release(lpm_stem_table* table);

/// Where a search for the stem begins, to be fetched ahead of it.
const lpm_stem_entry* lpm_stem_table_home(const lpm_stem_table& table, uint64_t stem);
lpm_trie_node* lpm_stem_table_find(const lpm_stem_table& table, uint64_t stem);
/// Stores or replaces; false when the table would have to grow and there is no memory.
bool lpm_stem_table_set(lpm_stem_table* table, uint64_t stem, lpm_trie_node* node);
void lpm_stem_table_erase(lpm_stem_table* table, uint64_t stem);
