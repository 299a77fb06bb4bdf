#include "qlix_comm/indexfill.h"

#include <cstring>

#include "indexfill_group.h"
#include "memory_owner.h"
#include "qlix_comm/check.h"

using namespace qlix_comm_detail;

namespace {

using group_t = qlix_comm_indexfill_group;

// A run without positions, outside the tree, with a copy of the key; null without memory.
group_t* group_create(const qlix_comm_indexfill* fill, const void* key) {
  memory_owner record(ic_comm_malloc_memory(sizeof(group_t)));
  memory_owner key_copy(ic_comm_malloc_memory(fill->tree.key_size));
  if (record == nullptr || key_copy == nullptr) {
    return nullptr;
  }
  memcpy(key_copy.get(), key, fill->tree.key_size);
  group_t* const group = group_of(record.release());
  *group = {};
  group->node.key = key_copy.release();
  return group;
}

void group_release(group_t* group) {
  ic_comm_free_memory(group->node.key);
  ic_comm_free_memory(group);
}

// Creates the run of `key` in the tree; null, with the reason in `*code`, when that fails.
group_t* group_insert(qlix_comm_indexfill* fill, const void* key, std::uint32_t* code) {
  group_t* const created = group_create(fill, key);
  if (created == nullptr) {
    *code = QLIX_COMM_POINT_NULL;
    return nullptr;
  }
  qlix_comm_rb_node* linked;
  *code = qlix_comm_rb_insert(&fill->tree, created, &linked);
  if (*code != QLIX_COMM_OK) {
    group_release(created);
    return nullptr;
  }
  return created;
}

// The run of `key`, or null.
group_t* group_find(const qlix_comm_indexfill* fill, const void* key) {
  qlix_comm_rb_node* node;
  return qlix_comm_rb_search(&fill->tree, key, &node) == QLIX_COMM_OK ? group_of(node) : nullptr;
}

// Position for a run between two others: in the gap, or where a neighbour gives way, to the right if it can.
std::uint32_t position_between(qlix_comm_indexfill* fill, const group_t* group, bool created, group_t* first,
                               group_t* last, std::uint64_t* position) {
  group_t* const prev = group_neighbour(group, false);
  group_t* const next = group_neighbour(group, true);
  if (group_end(prev) + group->count < next->start) {
    const bool append = !created && group_end(group) != next->start;
    *position = append ? group_end(group) : std::uint64_t{created ? next->start : group->start} - 1;
    return QLIX_COMM_OK;
  }
  std::uint32_t code = qlix_comm_indexfill_handle_position_right(fill, next, last);
  *position = std::uint64_t{next->start} - 1;
  if (code == QLIX_COMM_INDEXFILL_FULL) {
    code = qlix_comm_indexfill_handle_position_left(fill, prev, first);
    *position = group_end(prev);
  }
  return code;
}

// Position for the run with the smallest key.
std::uint32_t position_first(qlix_comm_indexfill* fill, group_t* group, bool created, group_t* last,
                             std::uint64_t* position) {
  group_t* const holder = created ? group_neighbour(group, true) : group;
  std::uint32_t code = QLIX_COMM_OK;
  if (holder->start == 0) {
    code = qlix_comm_indexfill_handle_position_right(fill, holder, last);
  }
  *position = std::uint64_t{holder->start} - 1;
  return code;
}

// Position for the run with the largest key; `last` is the run that was last before this one was created.
std::uint32_t position_last(qlix_comm_indexfill* fill, group_t* first, group_t* last, std::uint64_t* position) {
  std::uint32_t code = QLIX_COMM_OK;
  if (group_end(last) == fill->total) {
    code = qlix_comm_indexfill_handle_position_left(fill, last, first);
  }
  *position = group_end(last);
  return code;
}

// Chooses the position that `group` gets, next to the positions it has; neighbours make room when there is none.
std::uint32_t position_choose(qlix_comm_indexfill* fill, group_t* group, bool created, group_t* first, group_t* last,
                              std::uint64_t* position) {
  const bool has_prev = group_neighbour(group, false) != nullptr;
  const bool has_next = group_neighbour(group, true) != nullptr;
  if (has_prev && has_next) {
    return position_between(fill, group, created, first, last, position);
  }
  if (has_next) {
    return position_first(fill, group, created, last, position);
  }
  if (has_prev) {
    return position_last(fill, first, last, position);
  }
  const bool at_end = !created && group_end(group) == fill->total;
  *position = created ? 0 : at_end ? std::uint64_t{group->start} - 1 : group_end(group);
  return QLIX_COMM_OK;
}

// A run of `count` positions at `start` must lie between its neighbours.
std::uint32_t placement_check(const qlix_comm_indexfill* fill, const group_t* group, std::uint32_t start,
                              std::uint32_t count) {
  const std::uint64_t floor = group_floor(group);
  const std::uint64_t ceiling = group_ceiling(fill, group);
  QLIX_COMM_CHECK_INDEX(start, static_cast<std::uint32_t>(floor), static_cast<std::uint32_t>(ceiling));
  QLIX_COMM_CHECK_INDEX_UPPER(count, static_cast<std::uint32_t>(ceiling) - start);
  return QLIX_COMM_OK;
}

// Fills the hole at `position` with the run's first entry; `*vacated` is free afterwards.
std::uint32_t hole_fill(qlix_comm_indexfill* fill, const group_t* group, std::uint32_t position,
                        std::uint32_t* vacated) {
  *vacated = position;
  if (position == group->start) {
    return QLIX_COMM_OK;
  }
  if (position == group_end(group) - 1) {
    QLIX_COMM_TRACE_DEBUG("\n Free the last position,do nothing \n");
    return QLIX_COMM_OK;
  }
  QLIX_COMM_CHECK_RC(fill->move(group->start, position, fill), "move");
  *vacated = group->start;
  return QLIX_COMM_OK;
}

}  // namespace

namespace qlix_comm_detail {

std::uint32_t group_remove(qlix_comm_indexfill* fill, qlix_comm_indexfill_group* group) {
  qlix_comm_rb_node* unlinked;
  QLIX_COMM_CHECK_RC(qlix_comm_rb_delete(&fill->tree, group->node.key, &unlinked), "qlix_comm_rb_delete");
  group_release(group);
  return QLIX_COMM_OK;
}

}  // namespace qlix_comm_detail

std::uint32_t ic_comm_node_data_free(void* data) {
  QLIX_COMM_CHECK_POINT(data);
  ic_comm_free_memory(group_of(data)->node.key);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_indexfill_init(qlix_comm_indexfill* fill, std::uint32_t total, qlix_comm_rb_cmp cmp,
                                       qlix_comm_indexfill_move move, std::uint32_t key_size) {
  QLIX_COMM_CHECK_POINT(fill);
  QLIX_COMM_CHECK_POINT(move);
  const bool again = fill->tree.inited == 1;  // prints its line and leaves everything as it is
  QLIX_COMM_CHECK_RC(qlix_comm_rb_init(&fill->tree, 0, key_size, cmp), "qlix_comm_rb_init");
  if (!again) {
    fill->total = total;
    fill->move = move;
    fill->used = 0;
  }
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_indexfill_alloc(qlix_comm_indexfill* fill, std::uint32_t* position, const void* key) {
  QLIX_COMM_CHECK_POINT(fill);
  QLIX_COMM_CHECK_POINT(position);
  QLIX_COMM_CHECK_POINT(key);
  if (fill->used == fill->total) {
    QLIX_COMM_TRACE_INFO("\n , index fill is full !");
    return QLIX_COMM_INDEXFILL_FULL;
  }
  group_t* const first = group_of(fill->tree.order.first);
  group_t* const last = group_of(fill->tree.order.last);
  group_t* group = group_find(fill, key);
  const bool created = group == nullptr;
  std::uint32_t code = QLIX_COMM_OK;
  if (created) {
    group = group_insert(fill, key, &code);
    if (group == nullptr) {
      return report_call(QLIX_COMM_HERE, code, "group_insert");
    }
  } else {
    QLIX_COMM_TRACE_DEBUG("\n %s, same key ,add used one!", __func__);
  }
  std::uint64_t chosen = 0;
  code = position_choose(fill, group, created, first, last, &chosen);
  if (code == QLIX_COMM_OK && chosen >= fill->total) {
    code = QLIX_COMM_OUT_OF_RANGE;
  }
  if (code != QLIX_COMM_OK) {
    if (created) {
      group_remove(fill, group);
    }
    QLIX_COMM_CHECK_RC(code, "position_choose");
  }
  const auto taken = static_cast<std::uint32_t>(chosen);
  if (created || taken < group->start) {
    group->start = taken;
  }
  ++group->count;
  ++fill->used;
  *position = taken;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_indexfill_free(qlix_comm_indexfill* fill, std::uint32_t position, const void* key,
                                       std::uint32_t* vacated) {
  QLIX_COMM_CHECK_POINT(fill);
  QLIX_COMM_CHECK_POINT(key);
  QLIX_COMM_CHECK_POINT(vacated);
  group_t* const group = group_find(fill, key);
  if (group == nullptr) {
    QLIX_COMM_TRACE_ERROR("\n srh fail ,the key is not exist");
    return QLIX_COMM_INDEXFILL_KEY_ABSENT;
  }
  QLIX_COMM_CHECK_INDEX_LOWER(group->count, 1);
  QLIX_COMM_CHECK_INDEX_LOWER(fill->used, 1);
  QLIX_COMM_CHECK_INDEX(position, group->start, group->start + group->count - 1);
  QLIX_COMM_CHECK_RC(hole_fill(fill, group, position, vacated), "hole_fill");
  const bool keeps_start = position != group->start && *vacated == position;
  group->start = keeps_start ? group->start : group->start + 1;
  --fill->used;
  if (--group->count == 0) {
    QLIX_COMM_CHECK_RC(group_remove(fill, group), "group_remove");
  }
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_indexfill_insert(qlix_comm_indexfill* fill, std::uint32_t start, std::uint32_t count,
                                         const void* key) {
  QLIX_COMM_CHECK_POINT(fill);
  QLIX_COMM_CHECK_POINT(key);
  if (fill->used == fill->total) {
    QLIX_COMM_TRACE_INFO("\n , index fill is full !");
    return QLIX_COMM_INDEXFILL_FULL;
  }
  std::uint32_t code = QLIX_COMM_OK;
  group_t* const group = group_insert(fill, key, &code);
  if (group == nullptr) {
    QLIX_COMM_TRACE_ERROR("qlix_comm_rb_insert begin\n");
    QLIX_COMM_TRACE_ERROR("Call qlix_comm_rb_insert Error!!!\n");
    return code;
  }
  code = placement_check(fill, group, start, count);
  if (code == QLIX_COMM_OK && fill->used < count) {
    code = report_lower(QLIX_COMM_HERE, fill->used, count);
  }
  if (code != QLIX_COMM_OK) {
    group_remove(fill, group);
    return code;
  }
  group->start = start;
  group->count = count;
  fill->used += count;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_indexfill_clear(qlix_comm_indexfill* fill) {
  QLIX_COMM_CHECK_POINT(fill);
  const std::uint32_t key_size = fill->tree.key_size;
  const qlix_comm_rb_cmp cmp = fill->tree.cmp;
  QLIX_COMM_CHECK_RC(qlix_comm_dlink_release(&fill->tree.order, ic_comm_node_data_free), "qlix_comm_dlink_release");
  QLIX_COMM_CHECK_RC(qlix_comm_rb_destroy(&fill->tree), "qlix_comm_rb_destroy");
  QLIX_COMM_CHECK_RC(qlix_comm_rb_init(&fill->tree, 0, key_size, cmp), "qlix_comm_rb_init");
  fill->used = 0;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_indexfill_destroy(qlix_comm_indexfill* fill) {
  QLIX_COMM_CHECK_POINT(fill);
  QLIX_COMM_CHECK_RC(qlix_comm_dlink_release(&fill->tree.order, ic_comm_node_data_free), "qlix_comm_dlink_release");
  *fill = {};
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_indexfill_show_all_position(const qlix_comm_indexfill* fill) {
  QLIX_COMM_CHECK_POINT(fill);
  QLIX_COMM_PRINT("\n *************************Used Position*************************\n");
  std::uint32_t number = 0;
  for (const auto* order = fill->tree.order.first; order != nullptr; order = order->next) {
    const group_t* const group = group_of(order);
    QLIX_COMM_PRINT("\n ==== Num [%d ] ==== :", number++);
    for (std::uint32_t index = 0; index < group->count; ++index) {
      QLIX_COMM_PRINT(" %d ", group->start + index);
      if ((index + 1) % 8 == 0) {
        QLIX_COMM_PRINT("\n                   ");
      }
    }
  }
  QLIX_COMM_PRINT("\n*******End*******\n");
  return QLIX_COMM_OK;
}
