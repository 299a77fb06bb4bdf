// Runs of the index fill: their ends, their neighbours in key order, the way they change places.
#pragma once

#include "qlix_comm/indexfill.h"

namespace qlix_comm_detail {

/// The run that a node of the tree, or the data of a list node, begins.
inline qlix_comm_indexfill_group* group_of(void* node) {
  return static_cast<qlix_comm_indexfill_group*>(node);
}

inline qlix_comm_indexfill_group* group_of(const qlix_comm_double_link_node* order) {
  return order != nullptr ? group_of(order->data) : nullptr;
}

/// Neighbour in key order, or null.
inline qlix_comm_indexfill_group* group_neighbour(const qlix_comm_indexfill_group* group, bool right) {
  return group_of(right ? group->node.order.next : group->node.order.prev);
}

/// First position after the run; 64 bits, so that no restored run can wrap it.
inline std::uint64_t group_end(const qlix_comm_indexfill_group* group) {
  return std::uint64_t{group->start} + group->count;
}

/// The gap that a run may fill: from the end of its left neighbour (0) to the start of its right one (total).
inline std::uint64_t group_floor(const qlix_comm_indexfill_group* group) {
  const qlix_comm_indexfill_group* const prev = group_neighbour(group, false);
  return prev != nullptr ? group_end(prev) : 0;
}

inline std::uint64_t group_ceiling(const qlix_comm_indexfill* fill, const qlix_comm_indexfill_group* group) {
  const qlix_comm_indexfill_group* const next = group_neighbour(group, true);
  return next != nullptr ? next->start : fill->total;
}

/// Takes a run out of the tree and releases it with its key; its positions stay counted.
std::uint32_t group_remove(qlix_comm_indexfill* fill, qlix_comm_indexfill_group* group);

}  // namespace qlix_comm_detail
