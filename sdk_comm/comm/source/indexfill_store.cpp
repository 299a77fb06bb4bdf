// Saving and restoring an index fill.
#include <cstddef>
#include <cstring>

#include "indexfill_group.h"
#include "memory_owner.h"
#include "qlix_comm/check.h"

using namespace qlix_comm_detail;

namespace {

// The blob's header; records of rb_node_size bytes follow it.
struct blob_header {
  std::uint32_t used_node_num;
  std::uint32_t rb_node_size;
  std::uint32_t max_index_num;
};
static_assert(sizeof(blob_header) == 12);

// A record: this, then the key.
struct blob_placement {
  std::uint32_t start;
  std::uint32_t count;
};
static_assert(sizeof(blob_placement) == 8);

blob_placement placement_read(const std::uint8_t* record) {
  blob_placement placement;
  memcpy(&placement, record, sizeof placement);
  return placement;
}

// Takes back the runs of the first `num` records.
void records_undo(qlix_comm_indexfill* fill, const std::uint8_t* record, std::uint32_t num, std::size_t record_size) {
  for (; num != 0; --num, record += record_size) {
    qlix_comm_rb_node* node = nullptr;
    if (qlix_comm_rb_search(&fill->tree, record + sizeof(blob_placement), &node) == QLIX_COMM_OK) {
      fill->used -= group_of(node)->count;
      group_remove(fill, group_of(node));
    }
  }
}

}  // namespace

std::uint32_t qlix_comm_indexfill_store(const qlix_comm_indexfill* fill, std::uint32_t* size, std::uint8_t** blob) {
  QLIX_COMM_CHECK_POINT(fill);
  QLIX_COMM_CHECK_POINT(size);
  QLIX_COMM_CHECK_POINT(blob);
  QLIX_COMM_CHECK_ADD(fill->tree.key_size, sizeof(blob_placement));
  const blob_header header{fill->tree.order.count,
                           fill->tree.key_size + static_cast<std::uint32_t>(sizeof(blob_placement)), fill->total};
  QLIX_COMM_CHECK_MUL(header.used_node_num, header.rb_node_size);
  QLIX_COMM_CHECK_ADD(header.used_node_num * header.rb_node_size, sizeof header);
  const std::uint32_t bytes = header.used_node_num * header.rb_node_size + static_cast<std::uint32_t>(sizeof header);
  auto* const stored = static_cast<std::uint8_t*>(ic_comm_malloc_memory(bytes));
  QLIX_COMM_CHECK_POINT(stored);
  memcpy(stored, &header, sizeof header);
  std::uint8_t* record = stored + sizeof header;
  for (const auto* order = fill->tree.order.first; order != nullptr; order = order->next) {
    const qlix_comm_indexfill_group* const group = group_of(order);
    const blob_placement placement{group->start, group->count};
    memcpy(record, &placement, sizeof placement);
    memcpy(record + sizeof placement, group->node.key, fill->tree.key_size);
    record += header.rb_node_size;
  }
  *blob = stored;
  *size = bytes;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_indexfill_recovery(qlix_comm_indexfill* fill, [[maybe_unused]] std::uint32_t reserved,
                                           const std::uint8_t* blob, qlix_comm_rb_cmp cmp,
                                           qlix_comm_indexfill_move move) {
  QLIX_COMM_CHECK_POINT(fill);
  QLIX_COMM_CHECK_POINT(blob);
  QLIX_COMM_CHECK_POINT(move);
  blob_header header;
  memcpy(&header, blob, sizeof header);
  QLIX_COMM_TRACE_DEBUG("used_node_num   : 0x%08x\n", header.used_node_num);
  QLIX_COMM_TRACE_DEBUG("rb_node_size    : 0x%08x\n", header.rb_node_size);
  QLIX_COMM_TRACE_DEBUG("max_index_num   : 0x%08x\n", header.max_index_num);
  QLIX_COMM_CHECK_INDEX_LOWER(header.rb_node_size, sizeof(blob_placement));
  const std::uint32_t key_size = header.rb_node_size - static_cast<std::uint32_t>(sizeof(blob_placement));
  const bool fresh = fill->tree.inited == 0;
  QLIX_COMM_CHECK_RC(qlix_comm_indexfill_init(fill, header.max_index_num, cmp, move, key_size),
                     "qlix_comm_indexfill_init");
  QLIX_COMM_CHECK_INDEX(key_size, fill->tree.key_size, fill->tree.key_size);
  const std::uint8_t* const records = blob + sizeof header;
  const std::uint8_t* record = records;
  for (std::uint32_t done = 0; done < header.used_node_num; ++done, record += header.rb_node_size) {
    const blob_placement placement = placement_read(record);
    const std::uint32_t code =
        qlix_comm_indexfill_insert(fill, placement.start, placement.count, record + sizeof placement);
    if (code != QLIX_COMM_OK) {
      records_undo(fill, records, done, header.rb_node_size);
      if (fresh) {
        qlix_comm_indexfill_destroy(fill);
      }
      QLIX_COMM_CHECK_RC(code, "qlix_comm_indexfill_insert");
    }
  }
  return QLIX_COMM_OK;
}
