// Intrusive doubly linked list. Nodes lie in the caller's records; a node's data pointer points back to its record.
// Nothing locks: the caller serialises access to one list. Null arguments are 0x1201. Every insert needs count+1 <= max
// and every delete count >= 1, else 0x1205.
#pragma once

#include <cstdint>

struct qlix_comm_double_link_node {
  void* data;
  qlix_comm_double_link_node* prev;
  qlix_comm_double_link_node* next;
};

struct qlix_comm_double_link {
  std::uint32_t count;
  std::uint32_t max;
  qlix_comm_double_link_node* first;
  qlix_comm_double_link_node* last;
};

/// Order of `node` against `other`: negative, 0 or positive.
using qlix_comm_double_link_cmp = std::int32_t (*)(const qlix_comm_double_link_node* node,
                                                   const qlix_comm_double_link_node* other, void* arg);
/// 0 when `node` is meant by `info`; `arg` is `info` again.
using qlix_comm_double_link_match = std::int32_t (*)(void* info, const qlix_comm_double_link_node* node, void* arg);
/// Gives back what a node's data pointer points to; a code other than 0 is returned to the caller of the operation.
using qlix_comm_double_link_free = std::uint32_t (*)(void* data);

/// Empties the head for up to `max` nodes. max 0: 0x1509.
std::uint32_t qlix_comm_double_link_init(std::uint32_t max, qlix_comm_double_link* head);

std::uint32_t qlix_comm_double_link_insert_1st(qlix_comm_double_link_node* node, qlix_comm_double_link* head);
std::uint32_t qlix_comm_double_link_insert_last(qlix_comm_double_link_node* node, qlix_comm_double_link* head);
std::uint32_t qlix_comm_double_link_insert_pre(qlix_comm_double_link_node* node, qlix_comm_double_link_node* pos,
                                               qlix_comm_double_link* head);
std::uint32_t qlix_comm_double_link_insert_aft(qlix_comm_double_link_node* node, qlix_comm_double_link_node* pos,
                                               qlix_comm_double_link* head);
/// Inserts before the first node n with cmp(node, n, arg) <= 0, else at the end. A null cmp compares, as unsigned
/// numbers, the u32 at the start of the two records.
std::uint32_t qlix_comm_double_link_insert_sort(qlix_comm_double_link_node* node, qlix_comm_double_link* head,
                                                qlix_comm_double_link_cmp cmp, void* arg);

/// Unlinks `node`, which must be in the list, and clears its two links.
std::uint32_t qlix_comm_double_link_del(qlix_comm_double_link_node* node, qlix_comm_double_link* head);

// The operations below release the node itself to ic_comm_free_memory: they are for nodes that start an allocation of
// their own. free_data may be null.

/// Unlinks and releases every node with cmp(info, node, info) == 0; `*num` is their number. None: 1 with `*num` 0.
std::uint32_t qlix_comm_double_link_del_by_info(qlix_comm_double_link* head, void* info,
                                                qlix_comm_double_link_match cmp, std::uint32_t* num);
/// Unlinks and releases the first node whose record begins with the u32 `*pos`, after free_data(data); absent: 0.
std::uint32_t qlix_comm_double_link_del_pos(qlix_comm_double_link* head, const std::uint32_t* pos,
                                            qlix_comm_double_link_free free_data);
/// The same for the node whose data pointer is `data`; absent: a message and 0.
std::uint32_t qlix_comm_double_link_del_by_data(qlix_comm_double_link* head, const void* data,
                                                qlix_comm_double_link_free free_data);
/// Empties the list from its first node: free_data(data), then the node. A code of free_data stops it there, that node
/// still linked.
std::uint32_t qlix_comm_dlink_release(qlix_comm_double_link* head, qlix_comm_double_link_free free_data);

/// Prints the u32 at the start of every record, forward and backward.
std::uint32_t qlix_comm_double_link_print(const qlix_comm_double_link* head);
