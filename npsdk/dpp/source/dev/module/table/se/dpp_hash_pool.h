// Memory for the entries of one table: records of one size, each beginning on a cache line.
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

/// Asks for large pages behind a large block that was just taken: entries and items are visited at random, and most of
/// the visits would begin with a walk of the page tables. A system that has none to give changes nothing.
void dpp_hash_memory_wide(void* memory, size_t bytes);
