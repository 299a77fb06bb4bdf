#include "lpm_pool.h"

#include <cstring>
#include <memory>

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
  const size_t bytes = nodes * sizeof(lpm_trie_node);
  auto* slab = static_cast<slab_head*>(ic_comm_malloc_memory(sizeof(slab_head) + CACHE_LINE + bytes));
  if (slab == nullptr) {
    return false;
  }
  slab->next = static_cast<slab_head*>(pool->slabs);
  pool->slabs = slab;
  // Aligned, the half of a node that a search reads never straddles two cache lines for keys of up to 8 bytes.
  void* first = slab + 1;
  size_t room = CACHE_LINE + bytes;
  auto* node = static_cast<lpm_trie_node*>(std::align(CACHE_LINE, bytes, first, room));
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
