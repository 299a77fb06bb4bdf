// Where a new route's item goes.
#pragma once

#include "dpp_lpm/lpm_algo.h"

/// Places the item of `node`, moving items of other nodes when it must. On failure everything is rolled back, the new
/// prefix included, and the placement's code returned.
uint32_t chw_lpm_insert_item(chw_lpm* lpm, lpm_trie_node* node);
/// The alternative rule. On failure items are as before; the prefix stays in the trie.
uint32_t chw_lpm_insert_item_outmode(chw_lpm* lpm, lpm_trie_node* node);
