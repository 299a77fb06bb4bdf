// AVL tree of byte-string keys of one length, with a list of all nodes in key order.
//
// Static mode (max_node > 0): the tree owns max_node nodes and keys, taken at init; results are slot numbers (u32).
// Dynamic mode (max_node 0): nodes lie in the caller's records; results are node pointers (qlix_comm_avl_node*). The
// key that a node points to must stay as it is while the node is linked.
//
// Keys under the default compare are compared without a call: as big-endian words of the kind that their length allows
// (1 to 3, 4 to 8, more bytes), which order as memcmp does. Four bytes of the key also stand in the node, as in the
// red-black tree. Keys that come in ascending order are appended, and keys that leave or are asked for in ascending
// order are found, without comparisons on the way down. A compare hook of the caller is called once for each step.
//
// Nothing locks: the caller serialises access to one tree. Null arguments are 0x1201.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qlix_comm/double_link.h"
#include "qlix_comm/liststack.h"
#include "qlix_comm/prefetch.h"
#include "qlix_comm/tree.h"

/// Levels of the highest tree.
inline constexpr std::uint32_t QLIX_COMM_AVL_DEPTH_MAX = 41;

/// Compares two keys of `key_len` bytes: negative, 0 or positive.
using qlix_comm_avl_cmp = std::int32_t (*)(const void* key_a, const void* key_b, std::uint32_t key_len);

/// A pool's node has no field for its slot: that is its place in the pool (qlix_comm_avl_node_slot).
struct qlix_comm_avl_node {
  void* key;
  std::uint32_t key_head;  ///< four bytes of the key as a number; kept by the tree
  std::int32_t height;     ///< 1 for a leaf
  qlix_comm_avl_node* left;
  qlix_comm_avl_node* right;
  qlix_comm_double_link_node order;  ///< data = this node
};

struct qlix_comm_avl_notes : qlix_comm_tree_notes<qlix_comm_avl_node> {
  std::uint32_t edge_num;                             ///< nodes in `edge`, 0 when they are not known
  qlix_comm_avl_node* edge[QLIX_COMM_AVL_DEPTH_MAX];  ///< from the root to the largest node
};
using qlix_comm_avl_out = qlix_comm_tree_out<qlix_comm_avl_node>;

struct qlix_comm_avl {
  qlix_comm_avl_node* root;
  std::uint32_t node_num;
  qlix_comm_double_link order;  ///< all nodes, smallest key first
  std::uint32_t key_len;
  std::uint32_t max_node;  ///< pool size, 0 in dynamic mode
  qlix_comm_avl_cmp cmp;
  std::uint8_t* key_pool;           ///< static mode: key of slot k at k * key_len
  qlix_comm_avl_node* node_pool;    ///< static mode: node of slot k at k
  qlix_comm_liststack* slot_stack;  ///< static mode
  std::uint32_t dynamic;            ///< 1 in dynamic mode
  std::uint32_t inited;
  qlix_comm_avl_notes notes;
};

/// Slot of a node of a static tree.
inline std::uint32_t qlix_comm_avl_node_slot(const qlix_comm_avl* tree, const qlix_comm_avl_node* node) {
  return static_cast<std::uint32_t>(node - tree->node_pool);
}

/// Prepares a record that is all zero; a null cmp selects byte-wise comparison, as memcmp. A record initialised before
/// prints a line and stays as it is, 0. key_len 0: 0x1902; a key pool above 32 bits: 0x1205; no memory: 0x1201 or the
/// index stack's code, and nothing is kept.
std::uint32_t qlix_comm_avl_init(qlix_comm_avl* tree, std::uint32_t max_node, std::uint32_t key_len,
                                 qlix_comm_avl_cmp cmp);
/// Releases the pools and clears the record. Dynamic nodes belong to the caller and are not touched.
std::uint32_t qlix_comm_avl_destroy(qlix_comm_avl* tree);

/// Static: copies the key in, `*out` = its slot; no free slot: 0x1905 with `*out` 0x1901. Dynamic: links the caller's
/// node, whose key pointer is set; `out` may be null. A key that exists: 0x1904 with `*out` its slot, 0 in dynamic
/// mode.
std::uint32_t qlix_comm_avl_insert(qlix_comm_avl* tree, void* key_or_node, std::uint32_t* out);
/// Removes the key: out = its slot, now free, or the unlinked node, which goes back to the caller. Absent: 0, with out
/// 0x1901 or null. In a pool of more than 0x1901 (6401) nodes 0x1901 is a real slot too: there the number of nodes
/// tells whether one went, or qlix_comm_avl_node_find before.
std::uint32_t qlix_comm_avl_remove(qlix_comm_avl* tree, const void* key, qlix_comm_avl_out out);
/// out = slot or node of the key. Absent: 0, with out 0x1901 or null. In a pool of more than 0x1901 (6401) nodes 0x1901
/// is a real slot too, and nothing tells the two apart: ask qlix_comm_avl_node_find, which cannot be mistaken.
std::uint32_t qlix_comm_avl_find(const qlix_comm_avl* tree, const void* key, qlix_comm_avl_out out);
/// The node of the key in a tree of either mode, null when it is absent (or an argument is null, with an error line).
/// It stays the tree's or, in dynamic mode, the caller's; a pool's node has its slot (qlix_comm_avl_node_slot).
qlix_comm_avl_node* qlix_comm_avl_node_find(const qlix_comm_avl* tree, const void* key);

/// Number of nodes.
std::uint32_t ic_comm_avl_get_node_num(const qlix_comm_avl* tree, std::uint32_t* num);
/// 1 when the tree holds nothing, else 0.
std::uint32_t ic_comm_avl_is_none(const qlix_comm_avl* tree);
/// Copy the smallest and largest key to `key` (key_len bytes). Empty: 0x1903.
std::uint32_t ic_comm_avl_get_1st_key(const qlix_comm_avl* tree, void* key);
std::uint32_t ic_comm_avl_get_last_key(const qlix_comm_avl* tree, void* key);
/// First and last node of the order list, null in an empty tree.
std::uint32_t ic_comm_avl_get_1st_node(const qlix_comm_avl* tree, qlix_comm_double_link_node** node);
std::uint32_t ic_comm_avl_get_last_node(const qlix_comm_avl* tree, qlix_comm_double_link_node** node);

/// The next node in key order, null after the last. It follows the order list and asks for the nodes that come soon:
/// the list names one at a time, the tree more, and those of a large tree do not lie in the cache.
inline qlix_comm_avl_node* qlix_comm_avl_next(const qlix_comm_avl_node* node) {
  const qlix_comm_avl_node* const ahead = node->right != nullptr ? node->right : node;
  qlix_comm_detail::record_prefetch(node->right, sizeof *node);
  qlix_comm_detail::record_prefetch(ahead->left, sizeof *node);
  qlix_comm_detail::record_prefetch(ahead->right, sizeof *node);
  if (node->order.next == nullptr) {
    return nullptr;
  }
  auto* const record = reinterpret_cast<std::uint8_t*>(node->order.next) - offsetof(qlix_comm_avl_node, order);
  auto* const next = reinterpret_cast<qlix_comm_avl_node*>(record);
  qlix_comm_prefetch(next + 1);
  return next;
}

/// Prints the first u32 of every key, in host order, from the smallest and from the largest key.
std::uint32_t qlix_comm_avl_show_info(const qlix_comm_avl* tree);
