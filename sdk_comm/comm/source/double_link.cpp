#include "qlix_comm/double_link.h"

#include <cstring>

#include "double_link_ops.h"
#include "qlix_comm/check.h"
#include "qlix_comm/memory.h"

using qlix_comm_detail::list_link;
using qlix_comm_detail::list_unlink;

namespace {

using node_t = qlix_comm_double_link_node;
using head_t = qlix_comm_double_link;

std::uint32_t record_number(const node_t* node) {
  std::uint32_t number;
  memcpy(&number, node->data, sizeof number);
  return number;
}

std::int32_t number_cmp(const node_t* node, const node_t* other, [[maybe_unused]] void* arg) {
  const std::uint32_t a = record_number(node);
  const std::uint32_t b = record_number(other);
  return a < b ? -1 : a > b;
}

// The node leaves the list only when its data could be released.
std::uint32_t node_release(head_t* head, node_t* node, qlix_comm_double_link_free free_data) {
  if (const std::uint32_t code = free_data != nullptr ? free_data(node->data) : QLIX_COMM_OK; code != QLIX_COMM_OK) {
    return code;
  }
  list_unlink(head, node);
  ic_comm_free_memory(node);
  return QLIX_COMM_OK;
}

}  // namespace

#define CHECK_ROOM(head)                 \
  QLIX_COMM_CHECK_ADD((head)->count, 1); \
  QLIX_COMM_CHECK_INDEX((head)->count + 1, 1, (head)->max)

#define CHECK_FILLED(head) QLIX_COMM_CHECK_INDEX((head)->count, 1, (head)->max)

std::uint32_t qlix_comm_double_link_init(std::uint32_t max, qlix_comm_double_link* head) {
  QLIX_COMM_CHECK_POINT(head);
  if (max == 0) {
    QLIX_COMM_TRACE_ERROR("\nError:[0x%x] qlix_doule_link_init Element Num Err !", QLIX_COMM_DLINK_MAX_ZERO);
    return QLIX_COMM_DLINK_MAX_ZERO;
  }
  *head = {0, max, nullptr, nullptr};
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_double_link_insert_1st(qlix_comm_double_link_node* node, qlix_comm_double_link* head) {
  QLIX_COMM_CHECK_POINT(node);
  QLIX_COMM_CHECK_POINT(head);
  CHECK_ROOM(head);
  list_link(head, node, nullptr, head->first);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_double_link_insert_last(qlix_comm_double_link_node* node, qlix_comm_double_link* head) {
  QLIX_COMM_CHECK_POINT(node);
  QLIX_COMM_CHECK_POINT(head);
  CHECK_ROOM(head);
  list_link(head, node, head->last, nullptr);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_double_link_insert_pre(qlix_comm_double_link_node* node, qlix_comm_double_link_node* pos,
                                               qlix_comm_double_link* head) {
  QLIX_COMM_CHECK_POINT(node);
  QLIX_COMM_CHECK_POINT(pos);
  QLIX_COMM_CHECK_POINT(head);
  CHECK_ROOM(head);
  list_link(head, node, pos->prev, pos);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_double_link_insert_aft(qlix_comm_double_link_node* node, qlix_comm_double_link_node* pos,
                                               qlix_comm_double_link* head) {
  QLIX_COMM_CHECK_POINT(node);
  QLIX_COMM_CHECK_POINT(pos);
  QLIX_COMM_CHECK_POINT(head);
  CHECK_ROOM(head);
  list_link(head, node, pos, pos->next);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_double_link_insert_sort(qlix_comm_double_link_node* node, qlix_comm_double_link* head,
                                                qlix_comm_double_link_cmp cmp, void* arg) {
  QLIX_COMM_CHECK_POINT(node);
  QLIX_COMM_CHECK_POINT(head);
  CHECK_ROOM(head);
  if (cmp == nullptr) {
    cmp = number_cmp;
  }
  node_t* next = head->first;
  while (next != nullptr && cmp(node, next, arg) > 0) {
    next = next->next;
  }
  list_link(head, node, next != nullptr ? next->prev : head->last, next);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_double_link_del(qlix_comm_double_link_node* node, qlix_comm_double_link* head) {
  QLIX_COMM_CHECK_POINT(node);
  QLIX_COMM_CHECK_POINT(head);
  CHECK_FILLED(head);
  list_unlink(head, node);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_double_link_del_by_info(qlix_comm_double_link* head, void* info,
                                                qlix_comm_double_link_match cmp, std::uint32_t* num) {
  QLIX_COMM_CHECK_POINT(head);
  QLIX_COMM_CHECK_POINT(info);
  QLIX_COMM_CHECK_POINT(cmp);
  QLIX_COMM_CHECK_POINT(num);
  *num = 0;
  for (node_t *node = head->first, *next; node != nullptr; node = next) {
    next = node->next;
    if (cmp(info, node, info) == 0) {
      list_unlink(head, node);
      ic_comm_free_memory(node);
      ++*num;
    }
  }
  if (*num == 0) {
    return QLIX_COMM_DLINK_ABSENT;
  }
  QLIX_COMM_TRACE_DEBUG(" DOUBLE LINK DEL NUM %d \n", *num);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_double_link_del_pos(qlix_comm_double_link* head, const std::uint32_t* pos,
                                            qlix_comm_double_link_free free_data) {
  QLIX_COMM_CHECK_POINT(head);
  QLIX_COMM_CHECK_POINT(pos);
  for (node_t* node = head->first; node != nullptr; node = node->next) {
    if (record_number(node) == *pos) {
      QLIX_COMM_CHECK_RC(node_release(head, node, free_data), "free_data");
      return QLIX_COMM_OK;
    }
  }
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_double_link_del_by_data(qlix_comm_double_link* head, const void* data,
                                                qlix_comm_double_link_free free_data) {
  QLIX_COMM_CHECK_POINT(head);
  QLIX_COMM_CHECK_POINT(data);
  for (node_t* node = head->first; node != nullptr; node = node->next) {
    if (node->data == data) {
      QLIX_COMM_CHECK_RC(node_release(head, node, free_data), "free_data");
      return QLIX_COMM_OK;
    }
  }
  QLIX_COMM_TRACE_ERROR("\nError:data not exist. FUNCTION : %s!\n", __func__);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_dlink_release(qlix_comm_double_link* head, qlix_comm_double_link_free free_data) {
  QLIX_COMM_CHECK_POINT(head);
  // The first again each time: free_data may have taken others out.
  while (head->first != nullptr) {
    // The analyser does not see that a released node was unlinked before.
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc)
    QLIX_COMM_CHECK_RC(node_release(head, head->first, free_data), "free_data");
  }
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_double_link_print(const qlix_comm_double_link* head) {
  QLIX_COMM_CHECK_POINT(head);
  QLIX_COMM_PRINT("*************sequ order***********\n");
  for (const node_t* node = head->first; node != nullptr; node = node->next) {
    QLIX_COMM_PRINT("==>%d", record_number(node));
  }
  QLIX_COMM_PRINT("\n\n*************reverve order***********\n");
  for (const node_t* node = head->last; node != nullptr; node = node->prev) {
    QLIX_COMM_PRINT("==>%d", record_number(node));
  }
  return QLIX_COMM_OK;
}
