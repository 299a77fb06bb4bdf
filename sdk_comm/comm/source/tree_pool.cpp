#include "tree_pool.h"

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "memory_owner.h"
#include "qlix_comm/check.h"

namespace qlix_comm_detail {

namespace {

constexpr std::size_t HUGE_PAGE = std::size_t{2} << 20;

// A walk down a large tree jumps all over its pool. On huge pages that costs no walk of the page tables at each step.
// It is a wish: where the system has none to give, small pages serve.
void huge_pages_ask(void* memory, std::size_t size) {
  const std::size_t lead = -reinterpret_cast<std::uintptr_t>(memory) % HUGE_PAGE;
  if (size >= lead + HUGE_PAGE) {
    const std::size_t whole = (size - lead) / HUGE_PAGE * HUGE_PAGE;
    static_cast<void>(madvise(static_cast<std::uint8_t*>(memory) + lead, whole, MADV_HUGEPAGE));
  }
}

memory_owner zeroed_memory(std::size_t size) {
  memory_owner memory(ic_comm_malloc_memory(size));
  if (memory != nullptr) {
    huge_pages_ask(memory.get(), size);
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
