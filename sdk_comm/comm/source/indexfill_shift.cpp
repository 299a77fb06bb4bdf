// Making room in an index fill: a chain of touching runs moves by one position into the gap at its end.
#include "indexfill_group.h"
#include "qlix_comm/check.h"

using namespace qlix_comm_detail;

namespace {

using group_t = qlix_comm_indexfill_group;

// Moves a run by one position: the entry at its trailing end goes to the position past its leading end.
std::uint32_t group_shift(qlix_comm_indexfill* fill, group_t* group, bool right) {
  if (group->count != 0) {
    const auto end = static_cast<std::uint32_t>(group_end(group));
    const std::uint32_t from = right ? group->start : end - 1;
    const std::uint32_t to = right ? end : group->start - 1;
    QLIX_COMM_CHECK_RC(fill->move(from, to, fill), "move");
  }
  group->start = right ? group->start + 1 : group->start - 1;
  return QLIX_COMM_OK;
}

// Shifts the runs from `far` back to `from`, the farthest first, so that nothing is overwritten. When one cannot be
// moved, those that were go back.
std::uint32_t chain_shift(qlix_comm_indexfill* fill, group_t* far, const group_t* from, bool right) {
  for (group_t* group = far; group != nullptr; group = group_neighbour(group, !right)) {
    const std::uint32_t code = group_shift(fill, group, right);
    if (code != QLIX_COMM_OK) {
      while (group != far) {
        group = group_neighbour(group, right);
        if (group == nullptr || group_shift(fill, group, !right) != QLIX_COMM_OK) {
          break;
        }
      }
      return code;
    }
    if (group == from) {
      return QLIX_COMM_OK;
    }
  }
  return QLIX_COMM_OUT_OF_RANGE;  // `from` is no run of this tree
}

std::uint32_t end_check(const group_t* group) {
  QLIX_COMM_CHECK_ADD(group->start, group->count);
  QLIX_COMM_CHECK_INDEX_LOWER(group->start + group->count, 1);
  return QLIX_COMM_OK;
}

std::uint32_t no_room(const char* function) {
  QLIX_COMM_TRACE_INFO("\n %s: no free position on this side \n", function);
  return QLIX_COMM_INDEXFILL_FULL;
}

}  // namespace

std::uint32_t qlix_comm_indexfill_handle_position_right(qlix_comm_indexfill* fill, qlix_comm_indexfill_group* from,
                                                        qlix_comm_indexfill_group* last) {
  QLIX_COMM_CHECK_POINT(fill);
  QLIX_COMM_CHECK_POINT(from);
  QLIX_COMM_CHECK_POINT(last);
  QLIX_COMM_CHECK_INDEX_LOWER(fill->total, 1);
  group_t* far = from;
  while (group_end(far) >= group_ceiling(fill, far)) {
    if (far == last || group_neighbour(far, true) == nullptr) {
      return no_room(__func__);
    }
    far = group_neighbour(far, true);
  }
  return chain_shift(fill, far, from, true);
}

std::uint32_t qlix_comm_indexfill_handle_position_left(qlix_comm_indexfill* fill, qlix_comm_indexfill_group* from,
                                                       qlix_comm_indexfill_group* first) {
  QLIX_COMM_CHECK_POINT(fill);
  QLIX_COMM_CHECK_POINT(from);
  QLIX_COMM_CHECK_POINT(first);
  QLIX_COMM_CHECK_RC(end_check(from), "end_check");
  group_t* far = from;
  while (group_floor(far) >= far->start) {
    if (far == first || group_neighbour(far, false) == nullptr) {
      return no_room(__func__);
    }
    far = group_neighbour(far, false);
    QLIX_COMM_CHECK_RC(end_check(far), "end_check");
  }
  return chain_shift(fill, far, from, false);
}
