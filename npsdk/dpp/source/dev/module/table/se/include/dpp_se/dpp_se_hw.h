// How items of the search engine reach the chip: one write of an item or of a row, packed into a table command.
#pragma once

#include <cstdint>

#include "dpp_dtb/dpp_dtb_table.h"
#include "dpp_se/dpp_se_format.h"

/// Number of the overflow register among the registers of a zblock.
inline constexpr uint32_t DPP_SE_ZREG_ADDR = 0x10;

enum dpp_se_place : uint32_t {
  DPP_SE_ZCELL,  ///< an item of a zcell
  DPP_SE_ZREG,   ///< the overflow register of a zblock
  DPP_SE_DDR,    ///< an item of a hash spill area
  DPP_SE_LPM,    ///< rows of a route area
};

/// One write.
struct dpp_se_write {
  dpp_se_place place;
  uint32_t zblock;  ///< zcell and zreg: 0 to 31
  uint32_t zcell;   ///< 0 to 3, 0 for a zreg
  uint32_t index;   ///< item of the zcell (0 to 511), DPP_SE_ZREG_ADDR, or first row of 128 bits from the base in DDR
  uint32_t baddr;   ///< DDR: base in units of 4 KiB
  uint32_t mask;    ///< zcell and zreg: the quarters to write, bit 3 the first
  uint32_t size;    ///< bytes to write: 16, 32 or 64; zcell and zreg: those of the quarters
  uint32_t ecc_en;
  uint32_t ipv6;        ///< route rows: the area's keys are longer than 8 bytes
  const uint8_t* data;  ///< where the caller has them, during the call
  uint32_t data_bytes;  ///< the rest up to `size` is zeros
};

/// The bytes of a write as they are to stand: in DDR `size` bytes, else an item with zeros in the other quarters.
void dpp_se_write_image(const dpp_se_write* write, uint8_t (&image)[DPP_SE_ITEM_BYTES]);

/// The table command for a write. 0x1205 for a place that the command has no room for.
uint32_t dpp_se_write_pack(const dpp_se_write* write, dpp_dtb_entry* entry);

/// Where the table managers send their writes. `write` returns 0 when the chip has taken it.
struct dpp_se_writer {
  uint32_t (*write)(void* context, const dpp_se_write* write);
  void* context;
};

// Debts. A refused write may have been carried out all the same, so what stood there is written once more; when the
// chip refuses that too, it may hold what the driver does not know of. The write is then owed: it is kept, and paid
// before the next change of the table.

struct dpp_se_debt {
  dpp_se_debt* next;
  dpp_se_write write;  ///< its data are `image`
  uint8_t image[DPP_SE_ITEM_BYTES];
};
/// Zeroed: no debts. It must stay where it is while there are some.
struct dpp_se_debts {
  dpp_se_debt* first;  ///< of each place the last write
  uint32_t num;
  bool own_used;
  dpp_se_debt own;  ///< one debt needs no memory
};
/// Sends a write and returns the writer's code. What goes through settles the debt of its place; a refused write that
/// is `owed` becomes one. `*kept` is false when that takes memory and there is none, and for writes that are not owed.
uint32_t dpp_se_debts_send(dpp_se_debts* debts, const dpp_se_writer* writer, const dpp_se_write* write, bool owed,
                           bool* kept);
/// Pays in the order in which the debts were made; the writer's code when it refuses one, which stays with all others.
uint32_t dpp_se_debts_pay(dpp_se_debts* debts, const dpp_se_writer* writer);
/// Forgets them.
void dpp_se_debts_release(dpp_se_debts* debts);

/// Context of dpp_se_dtb_write.
struct dpp_se_dtb {
  uint32_t dev_id;
  uint32_t queue_id;
};
/// Posts the write through a queue and waits for its completion.
uint32_t dpp_se_dtb_write(void* context, const dpp_se_write* write);
