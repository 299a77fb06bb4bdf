// The memory of a static tree: slots, keys and nodes, three blocks taken together.
#pragma once

#include <cstdint>

#include "qlix_comm/liststack.h"

namespace qlix_comm_detail {

struct tree_pool {
  qlix_comm_liststack* slot_stack;
  std::uint8_t* key_pool;
  void* node_pool;
};

/// Takes the blocks for `max` nodes of `node_size` bytes, keys and nodes zeroed. 0x1205 when the key pool does not fit
/// 32 bits, 0x1201 or the index stack's code without memory; nothing is kept then.
std::uint32_t tree_pool_create(std::uint32_t max, std::uint32_t key_size, std::uint32_t node_size, tree_pool* pool);
void tree_pool_destroy(const tree_pool& pool);

}  // namespace qlix_comm_detail
