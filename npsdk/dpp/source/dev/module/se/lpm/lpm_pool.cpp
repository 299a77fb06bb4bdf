#include "lpm_pool.h"

#include <cstring>

#include "qlix_comm/memory.h"

namespace {

// The first slab serves a small table; the later ones keep the number of requests low in a full one.
constexpr uint32_t FIRST_SLAB_NODES = 64;
constexpr uint32_t SLAB_NODES = 8192;
constexpr size_t CACHE_LINE = 64;

struct slab_head {
  slab_head* next;
};

}  // namespace

bool lpm_pool_reserve(lpm_node_pool* pool, uint32_t num) {
  if (pool->free_num >= num) {
    return true;
  }
  const uint32_t nodes = pool->slabs == nullptr ? FIRST_SLAB_NODES : SLAB_NODES;
  auto* slab =
      static_cast<slab_head*>(ic_comm_malloc_memory(sizeof(slab_head) + CACHE_LINE + nodes * sizeof(lpm_trie_node)));
  if (slab == nullptr) {
    return false;
  }
  slab->next = static_cast<slab_head*>(pool->slabs);
  pool->slabs = slab;
  // Aligned, the half of a node that a search reads never straddles two cache lines for keys of up to 8 bytes.
  const uintptr_t first = (reinterpret_cast<uintptr_t>(slab + 1) + CACHE_LINE - 1) & ~(uintptr_t{CACHE_LINE} - 1);
  auto* node = reinterpret_cast<lpm_trie_node*>(first);
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
    ic_comm_free_memory(slab);
    slab = next;
  }
  *pool = {};
}
