// Short cuts into a large trie. They change how fast a longest match is found, never what it finds.
//
// For some lengths W, most specific first, a hash table knows the node where the walk below W bits begins: the highest
// one of at least W bits under each stem of W bits. For the first LPM_INDEX_BITS bits a plain array does, and also
// knows the route that a walk would have met above them.
#pragma once

#include "dpp_lpm/lpm_trie.h"
#include "lpm_key.h"

struct lpm_index;

/// Where a longest match starts.
struct lpm_start {
  const lpm_trie_node* node;  ///< null: nothing of this length lies under the key's stem
  const lpm_trie_node* best;  ///< longest route of fewer than LPM_INDEX_BITS bits
  const lpm_trie_node* top;   ///< not null: routes between `best` and `node` lie under it, above `node`
  uint32_t limit;             ///< only routes shorter than this can cover the key
};

/// Fetches what the start of a search for `key`, or the links of an insert of it, will look at. One after the other
/// these accesses would wait for memory as often as there are stem lengths.
void lpm_index_fetch(const lpm_trie* trie, const lpm_key& key);

/// Finds the start for a key of `prefix_len` bits, at least LPM_INDEX_BITS. REQUIRES: the trie has an index.
lpm_start lpm_index_find(const lpm_trie* trie, const lpm_key& key, uint32_t prefix_len);

inline constexpr uint32_t LPM_INDEX_BITS = 16;

/// Builds the index once the trie is large enough; without memory the trie goes on without.
void lpm_index_grow(lpm_trie* trie);
void lpm_index_drop(lpm_trie* trie);

// The following keep an existing index true; without one they do nothing.
/// `node` (not null) now hangs under `parent`, null for the root.
void lpm_index_link(lpm_trie* trie, const lpm_trie_node* parent, lpm_trie_node* node);
/// `node` left the trie and nothing took its place under `parent`.
void lpm_index_vacate(lpm_trie* trie, const lpm_trie_node* parent, const lpm_trie_node* node);
/// `node`, linked, has become a route, or has ceased to be one.
void lpm_index_route_add(lpm_trie* trie, lpm_trie_node* node);
void lpm_index_route_remove(lpm_trie* trie, const lpm_trie_node* node);
