// The pointer work of the double link list, without the checks of its interface: for the list itself and for the order
// lists of the trees, which hold as many nodes as their tree.
#pragma once

#include "qlix_comm/double_link.h"

namespace qlix_comm_detail {

/// Puts `node` between two neighbours; null stands for the head's end.
inline void list_link(qlix_comm_double_link* head, qlix_comm_double_link_node* node, qlix_comm_double_link_node* prev,
                      qlix_comm_double_link_node* next) {
  node->prev = prev;
  node->next = next;
  (prev != nullptr ? prev->next : head->first) = node;
  (next != nullptr ? next->prev : head->last) = node;
  ++head->count;
}

/// Takes `node` out and clears its links.
inline void list_unlink(qlix_comm_double_link* head, qlix_comm_double_link_node* node) {
  (node->prev != nullptr ? node->prev->next : head->first) = node->next;
  (node->next != nullptr ? node->next->prev : head->last) = node->prev;
  node->prev = nullptr;
  node->next = nullptr;
  --head->count;
}

}  // namespace qlix_comm_detail
