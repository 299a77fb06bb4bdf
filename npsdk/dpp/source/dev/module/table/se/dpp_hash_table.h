// What a hash table keeps of its entries: where they live, how they are found, their order.
#pragma once

#include "dpp_se/dpp_hash.h"
#include "qlix_comm/rb.h"

/// The tree of a table compares byte by byte: first the key's checksum, in the order of the items of a spill area, then
/// the key.
inline constexpr qlix_comm_rb_cmp dpp_hash_rb_key_cmp = qlix_comm_rb_def_cmp;

/// A run of entries and their tree nodes, in one allocation.
struct dpp_hash_slab {
  void* memory;
  qlix_comm_rb_node* nodes;
  uint8_t* entries;
};

/// Where the entries of one table live: slabs that grow with it and go back with it.
struct dpp_hash_pool {
  dpp_hash_slab* slab;
  uint32_t slab_num;
  uint32_t slab_room;    ///< of the list of slabs
  uint32_t entry_bytes;  ///< from one entry to the next
  uint32_t room;         ///< numbers that the slabs hold
  uint32_t fresh;        ///< numbers from here on were never taken
  uint32_t given;        ///< the number that was given back last, 0 for none
};

/// A change of a table's tree that waits for what it will touch.
struct dpp_hash_change {
  qlix_comm_rb_node* node;  ///< null: none waits
  qlix_comm_rb_node* near;  ///< of one that comes: a node near its place, when one is known
  bool leaves;              ///< else it comes
};

struct dpp_hash_slot {
  uint32_t order;   ///< checksum of its entry as the tree has it
  uint32_t number;  ///< of its entry, 0 for a free slot
};

/// The entries of a table by checksum.
struct dpp_hash_index {
  void* memory;
  dpp_hash_slot* slot;
  uint32_t bits;  ///< 2^bits slots
  uint32_t used;
};

struct dpp_hash_table {
  uint32_t key_len;
  uint32_t rst_len;
  uint32_t entry_bytes;  ///< 16, 32 or 64
  uint32_t ddr_items;    ///< a power of two, 0 without spill area
  uint32_t ddr_baddr;
  uint32_t ddr_ecc_en;
  void* ddr_memory;
  uint8_t* ddr;       ///< which quarters of the spill area are taken
  qlix_comm_rb tree;  ///< every entry, in the order of dpp_hash_rb_key_cmp; `waiting` settled, as it is before use
  dpp_hash_change waiting;
  dpp_hash_pool pool;
  dpp_hash_index index;
  uint32_t entry_num;
  uint32_t insert_fail_num;
};
