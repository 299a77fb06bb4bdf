// Node memory of one trie.
#pragma once

#include "dpp_lpm/lpm_trie.h"

/// Makes sure that `num` nodes can be taken; false without memory.
bool lpm_pool_reserve(lpm_node_pool* pool, uint32_t num);
/// A zeroed node. REQUIRES: reserved.
lpm_trie_node* lpm_pool_take(lpm_node_pool* pool);
void lpm_pool_give(lpm_node_pool* pool, lpm_trie_node* node);
/// Gives all slabs back; no node may be in use.
void lpm_pool_release(lpm_node_pool* pool);
