// Index fill: keeps the positions 0 ... total-1 of a hardware table so that the entries of one key form one contiguous
// run and runs follow each other in key order. When a key needs room, entries of neighbouring runs change places, one
// for each run; the owner moves them when asked by the move hook.
//
// Nothing locks: the caller serialises access to one index fill. Null arguments are 0x1201.
#pragma once

#include <cstdint>

#include "qlix_comm/rb.h"

struct qlix_comm_indexfill;

/// Moves the entry at position `from` to the free position `to`. A code other than 0 ends the operation with that code;
/// moves made before it are asked back in reverse order.
using qlix_comm_indexfill_move = std::uint32_t (*)(std::uint32_t from, std::uint32_t to, qlix_comm_indexfill* fill);

struct qlix_comm_indexfill {
  qlix_comm_rb tree;  ///< groups, dynamic mode
  std::uint32_t total;
  qlix_comm_indexfill_move move;
  std::uint32_t used;  ///< positions handed out
};

/// One key's run [start, start+count).
struct qlix_comm_indexfill_group {
  qlix_comm_rb_node node;
  std::uint32_t start;
  std::uint32_t count;
};

/// Prepares a record that is all zero. A null cmp selects byte-wise comparison.
std::uint32_t qlix_comm_indexfill_init(qlix_comm_indexfill* fill, std::uint32_t total, qlix_comm_rb_cmp cmp,
                                       qlix_comm_indexfill_move move, std::uint32_t key_size);
/// Hands out one position for `key` (key_size bytes, copied). Full, or no room on either side: 0x1A01.
std::uint32_t qlix_comm_indexfill_alloc(qlix_comm_indexfill* fill, std::uint32_t* position, const void* key);
/// Gives `position` of the key's run back; the run's first entry fills the hole, and `*vacated` is the position that is
/// free afterwards. Key absent: 0x1A02; position outside the run: 0x1205.
std::uint32_t qlix_comm_indexfill_free(qlix_comm_indexfill* fill, std::uint32_t position, const void* key,
                                       std::uint32_t* vacated);
/// Creates the run of a new key at a known place. Succeeds only while `used` is at least `count`, else 0x1205 and the
/// key is absent afterwards. Full: 0x1A01; key exists: 0x1001.
std::uint32_t qlix_comm_indexfill_insert(qlix_comm_indexfill* fill, std::uint32_t start, std::uint32_t count,
                                         const void* key);

/// Saves all runs. `*blob` goes back through ic_comm_free_memory. Host byte order:
///   0  u32 number of runs        4  u32 key_size + 8        8  u32 total
///   12 for each run, in key order: start u32, count u32, key (key_size bytes)
std::uint32_t qlix_comm_indexfill_store(const qlix_comm_indexfill* fill, std::uint32_t* size, std::uint8_t** blob);
/// Initialises `fill` from a blob, unless it is initialised already, and inserts the blob's runs in order. The first
/// code that is not 0 is returned: the runs before it are taken back, and a record that this call initialised is all
/// zero again. The blob carries no length: the caller vouches that it is as long as its own header says (12 + runs *
/// (key_size + 8) bytes). `reserved` takes no part.
std::uint32_t qlix_comm_indexfill_recovery(qlix_comm_indexfill* fill, std::uint32_t reserved, const std::uint8_t* blob,
                                           qlix_comm_rb_cmp cmp, qlix_comm_indexfill_move move);

/// Releases every run and its key; the index fill stays ready for use.
std::uint32_t qlix_comm_indexfill_clear(qlix_comm_indexfill* fill);
/// Releases every run and its key and clears the record.
std::uint32_t qlix_comm_indexfill_destroy(qlix_comm_indexfill* fill);

/// Prints the positions of every run.
std::uint32_t qlix_comm_indexfill_show_all_position(const qlix_comm_indexfill* fill);

/// Makes room before or after: moves one entry of each run from `from` up to the next gap, rightwards up to `last` or
/// leftwards down to `first`. No gap: 0x1A01.
std::uint32_t qlix_comm_indexfill_handle_position_right(qlix_comm_indexfill* fill, qlix_comm_indexfill_group* from,
                                                        qlix_comm_indexfill_group* last);
std::uint32_t qlix_comm_indexfill_handle_position_left(qlix_comm_indexfill* fill, qlix_comm_indexfill_group* from,
                                                       qlix_comm_indexfill_group* first);

/// Releases the key of the run whose node is `data`: the data release of the order list.
std::uint32_t ic_comm_node_data_free(void* data);
