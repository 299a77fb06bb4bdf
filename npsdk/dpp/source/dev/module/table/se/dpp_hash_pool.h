// Memory for the entries of one table: records of one size, each beginning on a pair of cache lines, so that a tree
// node and its key come in together.
#pragma once

#include <cstddef>

#include "dpp_se/dpp_hash.h"

/// Prepares a pool of records of at least `bytes`.
void dpp_hash_pool_init(dpp_hash_pool* pool, size_t bytes);
/// Null without memory. The contents are undefined.
void* dpp_hash_pool_take(dpp_hash_pool* pool);
void dpp_hash_pool_give(dpp_hash_pool* pool, void* record);
/// Gives all memory back, records in use included.
void dpp_hash_pool_release(dpp_hash_pool* pool);
