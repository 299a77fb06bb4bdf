#include "qlix_comm/liststack.h"

#include <algorithm>

#include "qlix_comm/check.h"
#include "qlix_comm/memory.h"

using namespace qlix_comm_detail;

namespace {

std::uint32_t chain_head(std::uint32_t next) {
  return next == LISTSTACK_CHAIN_END ? LISTSTACK_NONE : next;
}

std::uint32_t report_empty(const char* function, int line) {
  QLIX_COMM_TRACE_ERROR("\n %s: no free index! LINE:%d\n ", function, line);
  return QLIX_COMM_LIST_STACK_EMPTY;
}

// Prints the slots whose entries are used, or free, in ascending order.
std::uint32_t show_slots(const qlix_comm_liststack* stack, std::uint32_t per_line, bool used) {
  if (stack == nullptr) {
    QLIX_COMM_PRINT("\n Please Input Param!");
    return QLIX_COMM_LIST_STACK_NULL;
  }
  if (stack->free_num == 0) {
    QLIX_COMM_PRINT("\n The index are all used!\n");
  }
  per_line = per_line == 0 ? 32 : per_line;
  std::uint32_t printed = 0;
  for (std::uint32_t entry = 1; entry < stack->capacity; ++entry) {
    if ((stack->entries[entry].next == LISTSTACK_IN_USE) != used) {
      continue;
    }
    QLIX_COMM_PRINT(" 0x%x", entry - 1);
    if (++printed % per_line == 0) {
      QLIX_COMM_PRINT("\n");
    }
  }
  QLIX_COMM_PRINT("\n used_number: 0x%x", stack->used_num);
  return QLIX_COMM_OK;
}

}  // namespace

std::uint32_t qlix_comm_liststack_creat(std::uint32_t element_num, qlix_comm_liststack** stack) {
  if (stack == nullptr) {
    QLIX_COMM_TRACE_ERROR("\n p_list is NULL!\n");
    return QLIX_COMM_LIST_STACK_NULL;
  }
  *stack = nullptr;
  if (element_num == 0) {
    QLIX_COMM_TRACE_ERROR("\n FtmComm_ListStackCreat_dwElementNum <=0");
    return QLIX_COMM_LIST_STACK_ELEMENT_NUM;
  }
  element_num = std::min(element_num, QLIX_COMM_LISTSTACK_MAX);
  const std::uint32_t capacity = element_num + 1;
  void* const memory = ic_comm_malloc_memory(offsetof(qlix_comm_liststack, entries) +
                                             std::size_t{capacity} * sizeof(qlix_comm_liststack_entry));
  if (memory == nullptr) {
    QLIX_COMM_TRACE_ERROR("\n qlix_comm_liststack_creat Fail \n");
    return QLIX_COMM_LIST_STACK_NO_MEMORY;
  }
  auto* const created = static_cast<qlix_comm_liststack*>(memory);
  qlix_comm_liststack_entry* const entries = created->entries;
  *created = {capacity, 1, element_num, 0, {{0, 0}}};
  for (std::uint32_t entry = 1; entry < capacity; ++entry) {
    entries[entry] = {entry, entry + 1};
  }
  entries[element_num].next = LISTSTACK_CHAIN_END;
  *stack = created;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_liststack_destroy(qlix_comm_liststack* stack) {
  if (stack == nullptr) {
    QLIX_COMM_TRACE_ERROR("\n qlix_comm_liststack_destroy! LINE:%d\n ", __LINE__);
    return QLIX_COMM_LIST_STACK_NULL;
  }
  ic_comm_free_memory(stack);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_liststack_alloc_spec_index(qlix_comm_liststack* stack, std::uint32_t slot) {
  if (stack == nullptr) {
    QLIX_COMM_TRACE_ERROR("\n p_list is NULL!\n");
    return QLIX_COMM_LIST_STACK_NULL;
  }
  if (stack->head == LISTSTACK_NONE) {
    return report_empty(__func__, __LINE__);
  }
  if (slot >= stack->capacity - 1) {
    QLIX_COMM_TRACE_ERROR("\n qlix_comm_liststack_alloc_spec_index: input invalid index! LINE:%d\n ", __LINE__);
    return QLIX_COMM_LIST_STACK_SPEC_INDEX;
  }
  const std::uint32_t entry = slot + 1;
  qlix_comm_liststack_entry* const entries = stack->entries;
  if (entries[entry].next == LISTSTACK_IN_USE) {
    QLIX_COMM_TRACE_ERROR("\n qlix_comm_liststack_alloc_spec_index: index is used, not alloc again! LINE:%d\n ",
                          __LINE__);
    return QLIX_COMM_LIST_STACK_SPEC_IN_USE;
  }
  if (entry == stack->head) {
    stack->head = chain_head(entries[entry].next);
  } else {
    std::uint32_t before = stack->head;
    while (entries[before].next != entry) {
      before = entries[before].next;
    }
    entries[before].next = entries[entry].next;
  }
  entries[entry].next = LISTSTACK_IN_USE;
  --stack->free_num;
  ++stack->used_num;
  return QLIX_COMM_OK;
}

namespace qlix_comm_detail {

std::uint32_t report_liststack_alloc(const qlix_comm_liststack* stack, std::uint32_t* slot) {
  if (stack == nullptr) {
    QLIX_COMM_TRACE_ERROR("\n qlix_comm_liststack_alloc! ERROR LINE:%d\n ", __LINE__);
    return QLIX_COMM_LIST_STACK_NULL;
  }
  if (slot == nullptr) {
    return report_null({__FILE_NAME__, __LINE__, "qlix_comm_liststack_alloc"});
  }
  *slot = 0;
  return report_empty("qlix_comm_liststack_alloc", __LINE__);
}

std::uint32_t liststack_alloc_last(qlix_comm_liststack* stack, std::uint32_t* slot) {
  *slot = stack->head - 1;
  stack->entries[stack->head].next = LISTSTACK_IN_USE;
  stack->head = LISTSTACK_NONE;
  --stack->free_num;
  ++stack->used_num;
  return QLIX_COMM_OK;
}

std::uint32_t liststack_free_rare(qlix_comm_liststack* stack, std::uint32_t slot) {
  if (stack == nullptr) {
    QLIX_COMM_TRACE_ERROR("\n qlix_comm_liststack_free is null! LINE:%d\n ", __LINE__);
    return QLIX_COMM_LIST_STACK_NULL;
  }
  if (slot == 0xFFFFFFFF) {
    return report_pair({__FILE_NAME__, __LINE__, "qlix_comm_liststack_free"}, slot, 1);
  }
  if (slot >= stack->capacity - 1) {
    QLIX_COMM_TRACE_ERROR("\n qlix_comm_liststack_free: index 0x%x is out of range! LINE:%d\n ", slot, __LINE__);
    return QLIX_COMM_LIST_STACK_FREE_INDEX;
  }
  qlix_comm_liststack_entry& entry = stack->entries[slot + 1];
  if (entry.next == LISTSTACK_IN_USE) {
    entry.next = LISTSTACK_CHAIN_END;
    stack->head = slot + 1;
    ++stack->free_num;
    --stack->used_num;
  }
  return QLIX_COMM_OK;
}

}  // namespace qlix_comm_detail

std::uint32_t qlix_comm_liststack_showlist_info(const qlix_comm_liststack* stack) {
  if (stack == nullptr) {
    QLIX_COMM_PRINT("\n Please Input Param!");
    return QLIX_COMM_LIST_STACK_NULL;
  }
  QLIX_COMM_PRINT("\n\t List:     0x%p", static_cast<const void*>(stack));
  QLIX_COMM_PRINT("\n\t Array:    0x%p", static_cast<const void*>(stack->entries));
  QLIX_COMM_PRINT("\n\t capacity: 0x%x", stack->capacity);
  QLIX_COMM_PRINT("\n\t p_head:   0x%x", stack->head);
  QLIX_COMM_PRINT("\n\t free_num: 0x%x", stack->free_num);
  QLIX_COMM_PRINT("\n\t used_num: 0x%x\n", stack->used_num);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_liststack_show_used(const qlix_comm_liststack* stack, std::uint32_t per_line) {
  return show_slots(stack, per_line, true);
}

std::uint32_t qlix_comm_liststack_show_free(const qlix_comm_liststack* stack, std::uint32_t per_line) {
  return show_slots(stack, per_line, false);
}
