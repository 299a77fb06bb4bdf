// What a hash table keeps of its entries: where they live, how they are found, their order.
#pragma once

#include <cstring>

#include "dpp_se/dpp_hash.h"

/// The order of keys of one checksum in a table: negative, 0, positive.
inline int dpp_hash_rb_key_cmp(const uint8_t* a, const uint8_t* b, uint32_t key_len) {
  return std::memcmp(a, b, key_len);
}

/// A run of entries in one allocation.
struct dpp_hash_slab {
  void* memory;
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

struct dpp_hash_slot {
  uint32_t order;   ///< checksum of its entry, the bits that choose its item of a spill area in front
  uint32_t number;  ///< of its entry, 0 for a free slot
};

/// The entries of a table, in the order of their checksums, then of dpp_hash_rb_key_cmp.
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
  uint8_t* ddr;  ///< which quarters of the spill area are taken
  dpp_hash_pool pool;
  dpp_hash_index index;
  uint32_t entry_num;
  uint32_t insert_fail_num;
};
