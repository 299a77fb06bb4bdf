// Red-black tree of byte-string keys of one length, with a list of all nodes in key order.
//
// Static mode (max > 0): the tree owns max nodes and keys, taken at init; results are slot numbers (u32).
// Dynamic mode (max 0): the caller's records begin with a node; results are node pointers (qlix_comm_rb_node*). The key
// that a node points to must stay as it is while the node is linked.
//
// Keys under the default compare are compared without a call: as big-endian words of the kind that their length allows
// (1 to 3, 4 to 8, more bytes), which order as memcmp does. Four bytes of the key, the first that differ within the
// tree, also stand in the node, and most steps of a search are decided by them. (A key that differs from the others
// earlier than any before moves their place, and every node is visited once: at most key_size - 4 times before the tree
// is empty again.) Keys that come in ascending order are appended, and keys that leave or are asked for in ascending
// order are found, without a walk down the tree. A compare hook of the caller is called once for each step.
//
// Nothing locks: the caller serialises access to one tree. Null arguments are 0x1201.
#pragma once

#include <cstdint>

#include "qlix_comm/double_link.h"
#include "qlix_comm/liststack.h"
#include "qlix_comm/prefetch.h"
#include "qlix_comm/tree.h"

inline constexpr std::uint32_t QLIX_COMM_RB_RED = 1;
inline constexpr std::uint32_t QLIX_COMM_RB_BLACK = 2;

/// Compares two keys of `key_size` bytes: negative, 0 or positive.
using qlix_comm_rb_cmp = std::int32_t (*)(const void* key_a, const void* key_b, std::uint32_t key_size);

/// The list node comes first: what releases a list's nodes (qlix_comm_dlink_release) releases whole records. What a
/// search reads follows it, so that in a pool both share a cache line. A node is 64 bytes: a caller of many keeps them
/// in an array that begins on a cache line, and their keys elsewhere, so that a step down waits for one line.
struct qlix_comm_rb_node {
  qlix_comm_double_link_node order;  ///< data = this node
  std::uint32_t slot_colour;         ///< slot number in bits 31..2, colour in bits 1..0 (1 red, 2 black, 0 cleared)
  std::uint32_t key_head;            ///< four bytes of the key as a number; kept by the tree, in what would be padding
  qlix_comm_rb_node* left;
  qlix_comm_rb_node* right;
  void* key;
  qlix_comm_rb_node* parent;
};

using qlix_comm_rb_out = qlix_comm_tree_out<qlix_comm_rb_node>;

struct qlix_comm_rb {
  std::uint32_t key_size;
  std::uint32_t dynamic;  ///< 1 in dynamic mode
  qlix_comm_rb_node* root;
  qlix_comm_double_link order;  ///< all nodes, smallest key first
  qlix_comm_rb_cmp cmp;
  qlix_comm_liststack* slot_stack;  ///< static mode
  std::uint8_t* key_pool;           ///< static mode: key of slot k at k * key_size
  qlix_comm_rb_node* node_pool;     ///< static mode: node of slot k at k
  std::uint32_t inited;
  qlix_comm_tree_notes<qlix_comm_rb_node> notes;
};

/// The default compare: byte by byte, as memcmp.
std::int32_t qlix_comm_rb_def_cmp(const void* key_a, const void* key_b, std::uint32_t key_size);

/// Prepares a record that is all zero; a null cmp selects the default. A record initialised before prints a line and
/// stays as it is, 0. key_size 0, or a key pool above 32 bits: 0x1205; no memory: 0x1201 or the index stack's code, and
/// nothing is kept.
std::uint32_t qlix_comm_rb_init(qlix_comm_rb* tree, std::uint32_t max, std::uint32_t key_size, qlix_comm_rb_cmp cmp);
/// Releases the pools and clears the record. Dynamic nodes belong to the caller and are not touched.
std::uint32_t qlix_comm_rb_destroy(qlix_comm_rb* tree);

/// Static: copies the key in, out = its slot. Dynamic: links the caller's node, whose key pointer is set, out = the
/// node. A key that exists: 0x1001 with its slot or node; no free slot: 0x1003.
std::uint32_t qlix_comm_rb_insert(qlix_comm_rb* tree, void* key_or_node, qlix_comm_rb_out out);
/// Static only (dynamic: 0x1005): inserts the key into the given free slot. 0x1001, or the index stack's code.
std::uint32_t qlix_comm_rb_insert_spec_index(qlix_comm_rb* tree, const void* key, std::uint32_t slot);
/// Removes the key: out = its slot, now free and cleared, or the unlinked node, which goes back to the caller. Absent:
/// 0x1002.
std::uint32_t qlix_comm_rb_delete(qlix_comm_rb* tree, const void* key, qlix_comm_rb_out out);
/// out = slot or node of the key. Absent: 0x1002.
std::uint32_t qlix_comm_rb_search(const qlix_comm_rb* tree, const void* key, qlix_comm_rb_out out);

/// 1 when the tree holds nothing, else 0.
std::uint32_t qlix_comm_rb_is_none(const qlix_comm_rb* tree);
/// First and last node of the order list, null in an empty tree.
std::uint32_t qlix_comm_rb_get_1st_tn(const qlix_comm_rb* tree, qlix_comm_double_link_node** node);
std::uint32_t qlix_comm_rb_get_last_tn(const qlix_comm_rb* tree, qlix_comm_double_link_node** node);
/// Copy the smallest and largest key to `key` (key_size bytes). Empty: 0x1004.
std::uint32_t qlix_comm_rb_get_1st_key(const qlix_comm_rb* tree, void* key);
std::uint32_t qlix_comm_rb_get_last_key(const qlix_comm_rb* tree, void* key);

/// The next node in key order, null after the last. It follows the order list and asks for the nodes that come soon:
/// the list names one at a time, the tree more, and those of a large tree do not lie in the cache.
inline qlix_comm_rb_node* qlix_comm_rb_next(const qlix_comm_rb_node* node) {
  const qlix_comm_rb_node* const ahead = node->right != nullptr ? node->right : node;
  qlix_comm_detail::record_prefetch(node->right, sizeof *node);
  qlix_comm_detail::record_prefetch(ahead->left, sizeof *node);
  qlix_comm_detail::record_prefetch(ahead->right, sizeof *node);
  qlix_comm_detail::record_prefetch(node->parent, sizeof *node);
  auto* const next = reinterpret_cast<qlix_comm_rb_node*>(node->order.next);
  if (next != nullptr) {
    qlix_comm_prefetch(next + 1);
  }
  return next;
}

/// Slot number of a node of a static tree.
inline std::uint32_t qlix_comm_rb_node_slot(const qlix_comm_rb_node* node) {
  return node->slot_colour >> 2;
}
