// Index stack: hands out the integers 0 ... element_num-1. A fresh stack hands them out in ascending order, a freed one
// comes out next. Nothing locks: the caller serialises access to one stack.
#pragma once

#include <cstdint>

#include "qlix_comm/types.h"

/// Largest number of elements; larger requests are clamped to it.
inline constexpr std::uint32_t QLIX_COMM_LISTSTACK_MAX = 0x0FFFFFFD;

/// Entry k+1 stands for slot k; entry 0 is the sentinel {0, 0}.
struct qlix_comm_liststack_entry {
  std::uint32_t self;  ///< own entry number
  std::uint32_t next;  ///< next free entry, 0xFFFFFFFF at the end of the free chain, 0 while in use
};

struct qlix_comm_liststack {
  qlix_comm_liststack_entry* entries;  ///< directly behind the header, in the same allocation
  std::uint32_t capacity;              ///< entries, the sentinel included
  std::uint32_t head;                  ///< first free entry, 0 when none is free
  std::uint32_t free_num;
  std::uint32_t used_num;
};

/// Creates a stack with every slot free; it goes back through qlix_comm_liststack_destroy. 0x1801 for 0 elements,
/// 0x1803 without memory; `*stack` is null then. A null `stack` is 0x1802.
std::uint32_t qlix_comm_liststack_creat(std::uint32_t element_num, qlix_comm_liststack** stack);
/// 0x1802 for null.
std::uint32_t qlix_comm_liststack_destroy(qlix_comm_liststack* stack);

/// Takes the given slot, walking the free chain to it. 0x1804 none free, 0x1806 out of range, 0x1807 in use.
std::uint32_t qlix_comm_liststack_alloc_spec_index(qlix_comm_liststack* stack, std::uint32_t slot);
/// Print the header, the used slots and the free slots; `per_line` slots to a line (0: 32). 0x1802 for null.
std::uint32_t qlix_comm_liststack_showlist_info(const qlix_comm_liststack* stack);
std::uint32_t qlix_comm_liststack_show_used(const qlix_comm_liststack* stack, std::uint32_t per_line);
std::uint32_t qlix_comm_liststack_show_free(const qlix_comm_liststack* stack, std::uint32_t per_line);

namespace qlix_comm_detail {

inline constexpr std::uint32_t LISTSTACK_CHAIN_END = 0xFFFFFFFF;
inline constexpr std::uint32_t LISTSTACK_IN_USE = 0;  // as the next of an entry
inline constexpr std::uint32_t LISTSTACK_NONE = 0;    // as the head

/// What is wrong with the arguments, in words and as a code.
[[gnu::cold]] std::uint32_t report_liststack_alloc(const qlix_comm_liststack* stack, std::uint32_t* slot);
[[gnu::cold]] std::uint32_t report_liststack_free(const qlix_comm_liststack* stack, std::uint32_t slot);

}  // namespace qlix_comm_detail

/// Takes the first free slot. 0x1802 for a null stack, 0x1804 with `*slot` 0 when none is free.
inline std::uint32_t qlix_comm_liststack_alloc(qlix_comm_liststack* stack, std::uint32_t* slot) {
  using namespace qlix_comm_detail;
  if (stack == nullptr || slot == nullptr || stack->head == LISTSTACK_NONE) [[unlikely]] {
    return report_liststack_alloc(stack, slot);
  }
  const std::uint32_t taken = stack->head;
  const std::uint32_t next = stack->entries[taken].next;
  stack->head = next;
  if (next == LISTSTACK_CHAIN_END) [[unlikely]] {
    stack->head = LISTSTACK_NONE;
  }
  stack->entries[taken].next = LISTSTACK_IN_USE;
  *slot = taken - 1;
  --stack->free_num;
  ++stack->used_num;
  return QLIX_COMM_OK;
}

/// Gives a slot back; one that is free already stays so and 0 is returned. 0x1205 for 0xFFFFFFFF, 0x1805 out of range.
inline std::uint32_t qlix_comm_liststack_free(qlix_comm_liststack* stack, std::uint32_t slot) {
  using namespace qlix_comm_detail;
  if (stack == nullptr || slot >= stack->capacity - 1) [[unlikely]] {
    return report_liststack_free(stack, slot);
  }
  qlix_comm_liststack_entry& entry = stack->entries[slot + 1];
  if (entry.next != LISTSTACK_IN_USE) {
    return QLIX_COMM_OK;
  }
  entry.next = stack->head;
  if (stack->head == LISTSTACK_NONE) [[unlikely]] {
    entry.next = LISTSTACK_CHAIN_END;
  }
  stack->head = slot + 1;
  ++stack->free_num;
  --stack->used_num;
  return QLIX_COMM_OK;
}
