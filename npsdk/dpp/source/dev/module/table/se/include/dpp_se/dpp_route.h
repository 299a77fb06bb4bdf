// Route manager: keeps the routes of one table in items of 512 bits, in memory blocks, and writes them to the chip. The
// placement layer decides which item takes a route; this decides what an item is.
//
// Area in DDR, in rows of 128 bits from the base: the head (4 rows), an array of chain heads (four to a row), the items
// (4 rows each). An item is anchored at a prefix and holds routes under it; all items of one checksum of (prefix,
// length) form a chain. The chip looks a key up under every anchor length that the head names, and takes the longest
// route.
//
// Errors. What a caller, the card or the machine can get wrong is a code: null pointers and no memory (0x1201), values
// out of range (0x1205), no room, what the writer returned; the table is as it was before, and what the chip refused on
// the way back is owed and written before the next change. What only a fault of this code can break prints its line and
// ends the process (abort): a null pointer within the trie and the placement layer, a list of the trie that is torn, a
// step that puts back what a failed insert moved and fails itself. Going on would give the chip a table that nobody
// knows.
//
// Nothing locks: the caller serialises all operations on one table.
#pragma once

#include "dpp_lpm/lpm_algo.h"
#include "dpp_se/dpp_se_hw.h"

inline constexpr uint32_t DPP_ROUTE_BLOCK_ITEMS = 256;
inline constexpr uint32_t DPP_ROUTE_SLOTS_MAX = 7;          ///< routes in one item
inline constexpr uint32_t DPP_ROUTE_RESULT_MAX = 0xFFFFFF;  ///< an item keeps 24 bits of result

inline constexpr uint32_t DPP_ROUTE_RC_FULL = 0x30010;   ///< no memory block has a free item
inline constexpr uint32_t DPP_ROUTE_RC_STORE = 0x30011;  ///< saved bytes that do not describe a route table

/// The checksum of the first `len` bits of a key and of that length: its low bits choose the chain of a prefix.
uint32_t dpp_route_crc(const uint8_t* key, uint32_t key_bytes, uint32_t len);

struct dpp_route_cfg {
  uint32_t key_bytes;  ///< 1 to 18
  uint32_t baddr;      ///< base of the area in units of 4 KiB
  uint32_t head_bits;  ///< 2 to 24: log2 of the number of chains
  uint32_t block_num;  ///< memory blocks that the area has room for, 1 to 65536
  uint32_t flags;      ///< CHW_LPM_FLAG_*
  uint32_t level;      ///< placement level before the first insert
};

struct dpp_route_table;

/// Creates an empty table and clears head and chains on the chip. 0x1205 for values out of range, 0x1201 without
/// memory, or the writer's code; `*table` is null then. It goes back through dpp_route_destroy.
uint32_t dpp_route_create(const dpp_route_cfg* cfg, const dpp_se_writer* writer, dpp_route_table** table);
/// Gives everything back without touching the chip; null is ignored.
void dpp_route_destroy(dpp_route_table* table);

/// Inserts a route or gives an existing one its new result. DPP_ROUTE_RC_FULL, 0x1201 without memory, or the writer's
/// code leave the table as it was. Result above DPP_ROUTE_RESULT_MAX: 0x1205.
uint32_t dpp_route_insert(dpp_route_table* table, const lpm_route* route);
/// LPM_RC_NOT_FOUND when there is no such route; the writer's code leaves the table as it was.
uint32_t dpp_route_delete(dpp_route_table* table, const lpm_route* route);
/// Searches by LPM_SRH_LONGEST or LPM_SRH_EXACT.
uint32_t dpp_route_search(dpp_route_table* table, lpm_route* route, uint32_t mode);

/// Writes what the chip refused when items were put back after a failure. Every insert and delete does so first.
uint32_t dpp_route_flush(dpp_route_table* table);

/// Saves routes and items; `*blob` goes back through ic_comm_free_memory.
uint32_t dpp_route_store(const dpp_route_table* table, size_t* size, uint8_t** blob);
/// Creates a table from saved bytes, which anyone may have written, and writes nothing: the chip still holds the items.
/// DPP_ROUTE_RC_STORE when the bytes contradict themselves.
uint32_t dpp_route_recovery(const uint8_t* blob, size_t size, const dpp_se_writer* writer, dpp_route_table** table);

struct dpp_route_stat {
  uint32_t route_num;
  uint32_t item_num;   ///< items in use
  uint32_t block_num;  ///< memory blocks held
  uint32_t pending;    ///< rows that the chip still has to be given
  uint32_t level;
};
uint32_t dpp_route_stat_get(const dpp_route_table* table, dpp_route_stat* stat);
/// The instance underneath, for printers and tests.
chw_lpm* dpp_route_lpm_get(dpp_route_table* table);
