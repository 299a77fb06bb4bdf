#include "tree_pool.h"

#include <cstddef>
#include <cstring>

#include "memory_owner.h"
#include "qlix_comm/check.h"

namespace qlix_comm_detail {

namespace {

memory_owner zeroed_memory(std::size_t size) {
  memory_owner memory(ic_comm_malloc_memory(size));
  if (memory != nullptr) {
    memset(memory.get(), 0, size);
  }
  return memory;
}

}  // namespace

std::uint32_t tree_pool_create(std::uint32_t max, std::uint32_t key_size, std::uint32_t node_size, tree_pool* pool) {
  QLIX_COMM_CHECK_MUL(max, key_size);
  memory_owner keys = zeroed_memory(std::size_t{max} * key_size);
  QLIX_COMM_CHECK_POINT(keys);
  memory_owner nodes = zeroed_memory(std::size_t{max} * node_size);
  QLIX_COMM_CHECK_POINT(nodes);
  qlix_comm_liststack* slots = nullptr;
  QLIX_COMM_CHECK_RC(qlix_comm_liststack_creat(max, &slots), "qlix_comm_liststack_creat");
  *pool = {slots, static_cast<std::uint8_t*>(keys.release()), nodes.release()};
  return QLIX_COMM_OK;
}

void tree_pool_destroy(const tree_pool& pool) {
  ic_comm_free_memory(pool.slot_stack);
  ic_comm_free_memory(pool.key_pool);
  ic_comm_free_memory(pool.node_pool);
}

}  // namespace qlix_comm_detail
