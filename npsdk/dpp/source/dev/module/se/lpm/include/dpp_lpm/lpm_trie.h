// Route trie: a path-compressed binary trie of prefixes, with the counters from which the placement level is computed.
//
// Nothing locks: the caller serialises access to one trie. A null pointer or a failed internal call is a programming
// error: its line is traced and the process aborts.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qlix_comm/double_link.h"

inline constexpr uint32_t LPM_KEY_BYTES_MAX = 18;

inline constexpr uint32_t LPM_RC_INCONSISTENT = 0x30000;  ///< the trie contradicts itself, or an unknown search mode
inline constexpr uint32_t LPM_RC_EXISTS = 0x30001;        ///< the prefix is a route already
inline constexpr uint32_t LPM_RC_NOT_FOUND = 0x30002;

inline constexpr uint8_t LPM_NO_ROUTE = 0xFF;  ///< a length that no route has

inline constexpr uint32_t LPM_SRH_LONGEST = 1;
inline constexpr uint32_t LPM_SRH_EXACT = 2;

/// One node for each stored prefix and each branch point. What a search touches comes first, so that it shares a cache
/// line.
struct lpm_trie_node {
  lpm_trie_node* child[2];
  uint16_t prefix_len;  ///< bits
  uint8_t valid;        ///< 1 a route that was inserted, 0 a pure branch node
  uint8_t next_len;     ///< length of the shortest route below this node, LPM_NO_ROUTE for none
  uint32_t result;      ///< what the owner of the callbacks recorded for the route
  uint8_t key[24];      ///< prefix, most significant bit first; all bits from prefix_len on are zero
  uint32_t sub_cnt;     ///< routes in the subtree rooted here, this node included
  uint32_t len_sum;     ///< sum of their prefix lengths
  lpm_trie_node* parent;
  void* item_info;                  ///< placement item, null while not placed
  qlix_comm_double_link_node link;  ///< in-order list; data = this node
};
static_assert(sizeof(lpm_trie_node) <= 96, "a table of a million routes holds two million of these");

struct chw_lpm;
struct lpm_index;

/// Where the nodes of one trie live: slabs that grow with the trie and go back when it is empty.
struct lpm_node_pool {
  void* slabs;
  lpm_trie_node* free_nodes;
  uint32_t free_num;
  uint32_t node_num;  ///< in all slabs
};

struct lpm_trie {
  lpm_trie_node* root;
  qlix_comm_double_link list;  ///< all nodes: child 0 subtree, node, child 1 subtree
  uint32_t key_size;           ///< bytes
  uint32_t route_num;
  uint64_t len_total;  ///< sum of all routes' prefix lengths
  chw_lpm* lpm;        ///< instance whose level follows the trie; null for a trie on its own
  lpm_node_pool pool;
  lpm_index* index;  ///< short cuts for a longest match, null in a small trie
};

/// Empties the record. key_bytes outside 1 to 18: 0x1205.
uint32_t chw_lpm_trie_init(lpm_trie* trie, uint32_t key_bytes);
/// Gives everything back. Items are not touched: they belong to the placement layer.
void chw_lpm_trie_destroy(lpm_trie* trie);

/// How a new key meets a node's key, bit by bit from the most significant.
enum lpm_key_case : uint32_t {
  LPM_KEY_DESCEND_0 = 1,  ///< the node's prefix covers the key, whose next bit is 0
  LPM_KEY_DESCEND_1 = 2,  ///< the same with next bit 1
  LPM_KEY_SPLIT_0 = 3,    ///< they differ below both lengths, the node's bit there is 0
  LPM_KEY_SPLIT_1 = 4,    ///< the same with the node's bit 1
  LPM_KEY_PARENT_0 = 5,   ///< the key covers the node, whose bit at the key's length is 0
  LPM_KEY_PARENT_1 = 6,   ///< the same with that bit 1
  LPM_KEY_SAME = 7,
};
/// `key` holds the bytes of a prefix of `prefix_len` bits, `node_key` those of a node of `node_len` bits; bits beyond
/// are ignored. `split` (may be null) receives the first differing bit of a split.
lpm_key_case chw_lpm_trie_key_check(const uint8_t* key, uint32_t prefix_len, const uint8_t* node_key, uint32_t node_len,
                                    uint32_t* split);

/// Takes the memory that the next insert may need: 0 or 0x1201.
uint32_t chw_lpm_trie_reserve(lpm_trie* trie);
/// Makes the prefix a route; `*node` is its node. LPM_RC_EXISTS with the existing node leaves every counter as it was.
/// Both set the level of the instance. prefix_len above the key: 0x1205; no memory: 0x1201, nothing changed.
uint32_t chw_lpm_trie_insert(lpm_trie* trie, const uint8_t* key, uint32_t prefix_len, lpm_trie_node** node);

/// LPM_SRH_LONGEST: the longest route that covers the key of prefix_len bits. LPM_SRH_EXACT: the route itself; with
/// `for_delete` the route is taken out of the counters of its path, of itself and of the trie, and must then be removed
/// with chw_lpm_trie_remove_tn. LPM_RC_NOT_FOUND otherwise, counters as before; an exact search that ends on a branch
/// node of 16 bits still stores that node.
uint32_t chw_lpm_trie_srh(lpm_trie* trie, const uint8_t* key, uint32_t prefix_len, uint32_t mode, lpm_trie_node** node,
                          bool for_delete);

/// Nodes that a removal took out of the trie: the route's own, and a branch node that was left with a single child.
/// They go back with chw_lpm_trie_free_tn.
struct lpm_released {
  lpm_trie_node* node[2];
  uint32_t num;
};

/// Takes a route node, already out of the counters, out of the trie; with two children it stays as a branch node.
void chw_lpm_trie_remove_tn(lpm_trie* trie, lpm_trie_node* node, lpm_released* released);
/// Exact search and removal. LPM_RC_NOT_FOUND when the prefix is no route.
uint32_t chw_lpm_trie_delete(lpm_trie* trie, const uint8_t* key, uint32_t prefix_len, lpm_released* released);
void chw_lpm_trie_free_tn(lpm_trie* trie, const lpm_released& released);

/// The other child of the node's parent; null for the root and for an only child.
lpm_trie_node* chw_lpm_trie_brotn(const lpm_trie_node* node);
/// How evenly a node shares its parent's routes, 1024 = 1.0.
uint32_t BAL_VAL(const lpm_trie_node* node, const lpm_trie_node* parent);
/// Cost of the path from the root to `node`, 1024 for a level.
uint32_t chw_lpm_trie_path_cost(const lpm_trie_node* node, bool out_mode);

/// Saves the routes and their results; `*blob` holds `*size` bytes and goes back through ic_comm_free_memory.
uint32_t chw_lpm_trie_store(const lpm_trie* trie, size_t* size, uint8_t** blob);
/// Fills an initialised, empty trie from `size` bytes that anyone may have written. 0x1205 when they are no store of a
/// trie of this key size; the trie is empty then.
uint32_t chw_lpm_trie_recovery(lpm_trie* trie, const uint8_t* blob, size_t size);
