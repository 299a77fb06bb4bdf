#include "lpm_pool.h"

#include <algorithm>
#include <cstring>

#include "qlix_comm/memory.h"

namespace {

// The first slab serves a small table; then there are as many as were there, within limits, so that the nodes of a full
// one lie on large pages.
constexpr uint32_t FIRST_SLAB_NODES = 64;
constexpr uint32_t SLAB_NODES_MIN = 8192;
constexpr uint32_t SLAB_NODES_MAX = 1u << 17;
constexpr size_t CACHE_LINE = 64;

/// Stands before the nodes of a slab.
struct alignas(CACHE_LINE) slab_head {
  slab_head* next;
  void* memory;
};

}  // namespace

bool lpm_pool_reserve(lpm_node_pool* pool, uint32_t num) {
  if (pool->free_num >= num) {
    return true;
  }
  const uint32_t nodes =
      pool->slabs == nullptr ? FIRST_SLAB_NODES : std::clamp(pool->node_num, SLAB_NODES_MIN, SLAB_NODES_MAX);
  void* first = nullptr;
  void* const memory = ic_comm_malloc_block(sizeof(slab_head) + nodes * sizeof(lpm_trie_node), &first);
  if (memory == nullptr) {
    return false;
  }
  auto* const slab = static_cast<slab_head*>(first);
  *slab = {static_cast<slab_head*>(pool->slabs), memory};
  pool->slabs = slab;
  pool->node_num += nodes;
  // Aligned, the half of a node that a search reads never straddles two cache lines for keys of up to 8 bytes.
  auto* node = reinterpret_cast<lpm_trie_node*>(slab + 1);
  for (uint32_t i = nodes; i > 0; i--) {
    lpm_pool_give(pool, node + i - 1);
  }
  return true;
}

lpm_trie_node* lpm_pool_take(lpm_node_pool* pool) {
  lpm_trie_node* node = pool->free_nodes;
  pool->free_nodes = node->child[0];
  pool->free_num--;
  std::memset(node, 0, sizeof(*node));
  node->link.data = node;
  return node;
}

void lpm_pool_give(lpm_node_pool* pool, lpm_trie_node* node) {
  node->child[0] = pool->free_nodes;
  pool->free_nodes = node;
  pool->free_num++;
}

void lpm_pool_release(lpm_node_pool* pool) {
  auto* slab = static_cast<slab_head*>(pool->slabs);
  while (slab != nullptr) {
    slab_head* next = slab->next;
    ic_comm_free_memory(slab->memory);
    slab = next;
  }
  *pool = {};
}
