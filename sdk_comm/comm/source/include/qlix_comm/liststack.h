// Index stack: hands out the integers 0 ... element_num-1. A fresh stack hands them out in ascending order, a freed one
// comes out next. Nothing locks: the caller serialises access to one stack.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "qlix_comm/types.h"

/// Largest number of elements; larger requests are clamped to it.
inline constexpr std::uint32_t QLIX_COMM_LISTSTACK_MAX = 0x0FFFFFFD;

/// Entry k+1 stands for slot k; entry 0 is the sentinel {0, 0}.
struct qlix_comm_liststack_entry {
  std::uint32_t self;  ///< own entry number
  std::uint32_t next;  ///< next free entry, 0xFFFFFFFF at the end of the free chain, 0 while in use
};

struct qlix_comm_liststack {
  std::uint32_t capacity;  ///< entries, the sentinel included
  std::uint32_t head;      ///< first free entry, 0 when none is free
  std::uint32_t free_num;
  std::uint32_t used_num;
  // The sentinel and all behind it, in the same allocation: a compiler knows that no field of the header is one of
  // them, and so what a slot that is freed and taken again reads.
  qlix_comm_liststack_entry entries[1];
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
/// Takes the only free slot.
[[gnu::cold]] std::uint32_t liststack_alloc_last(qlix_comm_liststack* stack, std::uint32_t* slot);
/// Frees a slot while none is free, leaves a free one as it is, or says what is wrong.
[[gnu::cold]] std::uint32_t liststack_free_rare(qlix_comm_liststack* stack, std::uint32_t slot);

/// One from free_num to used_num, which lie side by side.
inline constexpr std::uint64_t LISTSTACK_TAKEN =
    std::endian::native == std::endian::little ? 0xFFFFFFFF : 0 - std::uint64_t{0xFFFFFFFF};
/// Changes both counts as one word: a step waits for one write of the step before, not for two.
inline void liststack_count(qlix_comm_liststack* stack, std::uint64_t change) {
  char* const counts = reinterpret_cast<char*>(stack) + offsetof(qlix_comm_liststack, free_num);
  std::uint64_t both;
  std::memcpy(&both, counts, sizeof(both));
  both += change;
  std::memcpy(counts, &both, sizeof(both));
}

}  // namespace qlix_comm_detail

/// Takes the first free slot. 0x1802 for a null stack, 0x1804 with `*slot` 0 when none is free.
inline std::uint32_t qlix_comm_liststack_alloc(qlix_comm_liststack* stack, std::uint32_t* slot) {
  using namespace qlix_comm_detail;
  if (stack == nullptr || slot == nullptr || stack->head == LISTSTACK_NONE) [[unlikely]] {
    return report_liststack_alloc(stack, slot);
  }
  const std::uint32_t taken = stack->head;
  qlix_comm_liststack_entry& entry = stack->entries[taken];
  if (entry.next == LISTSTACK_CHAIN_END) [[unlikely]] {
    return liststack_alloc_last(stack, slot);
  }
  stack->head = entry.next;
  entry.next = LISTSTACK_IN_USE;
  *slot = taken - 1;
  liststack_count(stack, LISTSTACK_TAKEN);
  return QLIX_COMM_OK;
}

/// Gives a slot back; one that is free already stays so and 0 is returned. 0x1205 for 0xFFFFFFFF, 0x1805 out of range.
inline std::uint32_t qlix_comm_liststack_free(qlix_comm_liststack* stack, std::uint32_t slot) {
  using namespace qlix_comm_detail;
  if (stack == nullptr || slot >= stack->capacity - 1 || stack->head == LISTSTACK_NONE ||
      stack->entries[slot + 1].next != LISTSTACK_IN_USE) [[unlikely]] {
    return liststack_free_rare(stack, slot);
  }
  stack->entries[slot + 1].next = stack->head;
  stack->head = slot + 1;
  liststack_count(stack, 0 - LISTSTACK_TAKEN);
  return QLIX_COMM_OK;
}
