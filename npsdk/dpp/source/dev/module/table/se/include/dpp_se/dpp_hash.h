// Exact-match tables. Entries live in zcells (512 items each, four zcells to a zblock), in the overflow register of
// each zblock, and for tables that ask for it in a spill area in DDR. The driver keeps every entry, in an order of its
// own, and decides where it lands; the chip finds it by the same checksums.
//
// Nothing locks: the caller serialises all operations on one record (the hash mutexes of the device are for that).
// Operations return 0 or a code; arguments out of range are 0x1205, missing pointers, tables and zblocks 0x1201.
#pragma once

#include <cstddef>
#include <cstdint>

#include "dpp_se/dpp_se_hw.h"

inline constexpr uint32_t DPP_HASH_ENGINE_NUM = 8;
inline constexpr uint32_t DPP_HASH_TABLE_NUM = 32;  ///< of each engine
inline constexpr uint32_t DPP_HASH_ZBLOCK_NUM = 32;
inline constexpr uint32_t DPP_HASH_ZCELL_IN_BLOCK = 4;
inline constexpr uint32_t DPP_HASH_ZCELL_NUM = DPP_HASH_ZBLOCK_NUM * DPP_HASH_ZCELL_IN_BLOCK;
inline constexpr uint32_t DPP_HASH_ITEM_NUM = 512;
inline constexpr uint32_t DPP_HASH_QUARTERS = 4;
inline constexpr uint32_t DPP_HASH_DDR_ITEMS_MAX = 1u << 22;

inline constexpr uint32_t DPP_HASH_RC_ITEM_FULL = 0x5400A;  ///< internal: the next place is tried
inline constexpr uint32_t DPP_HASH_RC_ABSENT = 0x5400B;
inline constexpr uint32_t DPP_HASH_RC_TABLE_FULL = 0x5400D;

/// Kinds of place in bits 20 to 17 of a location word; zcell number and zblock stand in bits 15 to 9 (cell 0 for a
/// register).
inline constexpr uint32_t DPP_HASH_LOCATION_ZCELL = 0xF;
inline constexpr uint32_t DPP_HASH_LOCATION_ZREG = 0xE;
inline constexpr uint32_t DPP_HASH_LOCATION_DDR = 0xD;

struct dpp_hash_entry;

/// 512 bits: four entries of 128, two of 256 or one of 512 bits. A wide entry stands in each quarter that it covers.
struct dpp_hash_item {
  dpp_hash_entry* entry[DPP_HASH_QUARTERS];
};

struct dpp_hash_zcell {
  uint32_t descriptor;  ///< bits 1-0 cell in its zblock, bits 6-2 zblock
  uint32_t flags;       ///< bit 0: dedicated to `engine`
  uint32_t engine;
  dpp_hash_item* items;  ///< DPP_HASH_ITEM_NUM, null for a cell that nobody uses
};

struct dpp_hash_zblock {
  uint32_t inited;
  uint32_t hash_arg;   ///< CRC-16 polynomial
  dpp_hash_item zreg;  ///< overflow register
};

struct dpp_hash_table;

struct dpp_hash_engine {
  uint32_t exclude_shared;  ///< 1: shared zcells are passed over
  uint32_t soft_reset;      ///< 1: nothing is written to the chip
  uint32_t zcell_num;
  uint32_t zcell[DPP_HASH_ZCELL_NUM];  ///< descriptors, in the order in which they are tried
  uint32_t entry_num;
  dpp_hash_table* table[DPP_HASH_TABLE_NUM];  ///< null: not set up
};

/// One search-engine resource set (about 1 MiB): allocate it zeroed, or statically.
struct dpp_hash {
  dpp_se_writer writer;
  dpp_se_debts debts;
  dpp_hash_zblock zblock[DPP_HASH_ZBLOCK_NUM];
  dpp_hash_zcell zcell[DPP_HASH_ZCELL_NUM];  ///< by descriptor
  dpp_hash_engine engine[DPP_HASH_ENGINE_NUM];
};

/// A table of an engine. The entry (2 bytes, key, result) must fit 64 bytes.
struct dpp_hash_table_cfg {
  uint32_t key_len;    ///< bytes, 1 to 62
  uint32_t rst_len;    ///< bytes
  uint32_t ddr_items;  ///< items of 512 bits of the spill area: a power of two up to 2^22, 0 for none
  uint32_t ddr_baddr;  ///< its base in units of 4 KiB
  uint32_t ddr_ecc_en;
};

/// A key with its result, as the caller has them.
struct dpp_hash_row {
  const uint8_t* key;
  const uint8_t* rst;
};

/// Where an entry lives.
struct dpp_hash_where {
  uint32_t location;   ///< location word; 0 in bits 8-0 except for zcells
  uint32_t ddr_index;  ///< item of the spill area
  uint32_t quarter;    ///< first quarter of the item
};

/// Starts an empty record; `writer` is copied.
uint32_t dpp_hash_init(dpp_hash* hash, const dpp_se_writer* writer);
/// Gives everything back without touching the chip.
void dpp_hash_destroy(dpp_hash* hash);

/// Sets a zblock's polynomial, one of the eight.
uint32_t dpp_hash_zblock_init(dpp_hash* hash, uint32_t zblock, uint32_t hash_arg);
/// Appends a zcell to the list of an engine; `dedicated` 1 makes it this engine's alone.
uint32_t dpp_hash_zcell_add(dpp_hash* hash, uint32_t engine, uint32_t zblock, uint32_t cell, uint32_t dedicated);
uint32_t dpp_hash_exclude_shared_set(dpp_hash* hash, uint32_t engine, uint32_t exclude);
uint32_t dpp_hash_table_init(dpp_hash* hash, uint32_t engine, uint32_t table, const dpp_hash_table_cfg* cfg);

/// While the flag is set, entries are placed in software only. Clearing it writes nothing: dpp_hash_rewrite does.
uint32_t dpp_hash_soft_reset_set(dpp_hash* hash, uint32_t engine, uint32_t soft_reset);
/// Writes every entry of an engine to the chip.
uint32_t dpp_hash_rewrite(dpp_hash* hash, uint32_t engine);

/// Writes what the chip refused when a change was undone. Every change of an engine out of soft reset does so first and
/// fails with the writer's code, and nothing else done, when that is refused again.
uint32_t dpp_hash_flush(dpp_hash* hash);

/// Places a new key, or gives an existing one its new result. DPP_HASH_RC_TABLE_FULL leaves the key absent; a write
/// that the chip refuses leaves software as it was and its code is returned.
uint32_t dpp_hash_insert(dpp_hash* hash, uint32_t engine, uint32_t table, const dpp_hash_row* row);
/// Copies the result to `rst` and the place to `where` (each may be null). DPP_HASH_RC_ABSENT for an unknown key.
uint32_t dpp_hash_search(dpp_hash* hash, uint32_t engine, uint32_t table, const uint8_t* key, uint8_t* rst,
                         dpp_hash_where* where);
/// Removes a key. DPP_HASH_RC_ABSENT for an unknown one; a write that the chip refuses leaves the entry.
uint32_t dpp_hash_delete(dpp_hash* hash, uint32_t engine, uint32_t table, const uint8_t* key);
