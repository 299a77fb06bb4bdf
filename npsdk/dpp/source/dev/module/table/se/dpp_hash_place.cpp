#include "dpp_hash_place.h"

#include <algorithm>

#include "dpp_hash_spill.h"
#include "dpp_se/dpp_crc.h"
#include "qlix_comm/check.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t DESCRIPTOR_SHIFT = 9;
constexpr uint32_t ITEM_MASK = DPP_HASH_ITEM_NUM - 1;
constexpr uint32_t ALL_QUARTERS = 0xF;

bool zcell_usable(const dpp_hash_engine& engine, uint32_t engine_id, const dpp_hash_zcell& cell) {
  const bool dedicated = (cell.flags & 1) != 0;
  return dedicated ? cell.engine == engine_id : engine.exclude_shared == 0;
}

void location_set(dpp_hash_entry* entry, uint32_t kind, uint32_t descriptor, uint32_t item) {
  entry->kind = kind & 3;
  entry->cell = static_cast<uint16_t>(descriptor << DESCRIPTOR_SHIFT | item);
}

/// Puts the entry into the first aligned quarters that are free, DPP_HASH_RC_ITEM_FULL when there are none.
uint32_t item_put(dpp_hash_item* item, uint32_t quarters, dpp_hash_entry* entry) {
  for (uint32_t first = 0; first < DPP_HASH_QUARTERS; first += quarters) {
    dpp_hash_entry** const at = &item->entry[first];
    if (std::all_of(at, at + quarters, [](const dpp_hash_entry* other) { return other == nullptr; })) {
      std::fill_n(at, quarters, entry);
      entry->quarter = first & (DPP_HASH_QUARTERS - 1);
      return QLIX_COMM_OK;
    }
  }
  return DPP_HASH_RC_ITEM_FULL;
}

uint32_t descriptor_of(const dpp_hash_entry& entry) {
  return entry.cell >> DESCRIPTOR_SHIFT;
}

/// The first of the quarters of an item that the entry covers, in a zcell or a register.
dpp_hash_entry** first_quarter(dpp_hash* hash, const dpp_hash_entry& entry) {
  const uint32_t descriptor = descriptor_of(entry);
  dpp_hash_item& item = dpp_hash_stands_in(entry, DPP_HASH_LOCATION_ZREG)
                            ? hash->zblock[descriptor / DPP_HASH_ZCELL_IN_BLOCK].zreg
                            : hash->zcell[descriptor].items[entry.cell & ITEM_MASK];
  return &item.entry[entry.quarter];
}

/// True while the shadow names the entry where it was placed.
bool shadow_has(dpp_hash* hash, const dpp_hash_entry& entry) {
  return dpp_hash_stands_in(entry, DPP_HASH_LOCATION_DDR) ? dpp_hash_spill_has(dpp_hash_table_of(hash, entry), entry)
                                                          : *first_quarter(hash, entry) == &entry;
}

}  // namespace

void dpp_hash_shadow_set(dpp_hash* hash, dpp_hash_entry* entry, bool stands) {
  const dpp_hash_table& table = dpp_hash_table_of(hash, *entry);
  if (dpp_hash_stands_in(*entry, DPP_HASH_LOCATION_DDR)) {
    dpp_hash_spill_set(table, *entry, stands);
  } else {
    std::fill_n(first_quarter(hash, *entry), dpp_hash_quarters(table), stands ? entry : nullptr);
  }
}

uint32_t dpp_hash_insert_ddr(dpp_hash* hash, dpp_hash_entry* entry) {
  const uint32_t rc = dpp_hash_spill_put(dpp_hash_table_of(hash, *entry), entry);
  if (rc == QLIX_COMM_OK) {
    location_set(entry, DPP_HASH_LOCATION_DDR, 0, 0);
  }
  return rc;
}

uint32_t dpp_hash_insert_zcell(dpp_hash* hash, dpp_hash_entry* entry) {
  const dpp_hash_engine& engine = hash->engine[entry->engine()];
  const dpp_hash_table& table = dpp_hash_table_of(hash, *entry);
  uint8_t crc_key[DPP_SE_ITEM_BYTES];
  dpp_hash_set_crc_key(entry->key(), table.key_len, crc_key);
  uint32_t crc = 0;
  uint32_t crc_zblock = DPP_HASH_ZBLOCK_NUM;  // none yet
  for (uint32_t i = 0; i < engine.zcell_num; i++) {
    dpp_hash_zcell& cell = hash->zcell[engine.zcell[i]];
    if (!zcell_usable(engine, entry->engine(), cell)) {
      continue;
    }
    const uint32_t zblock = cell.descriptor / DPP_HASH_ZCELL_IN_BLOCK;
    const uint32_t number = cell.descriptor % DPP_HASH_ZCELL_IN_BLOCK;
    if (zblock != crc_zblock) {
      const dpp_hash_zblock& block = hash->zblock[zblock];
      crc = dpp_crc16_table_lookup(crc_key, table.key_len, block.hash_arg) & 0xFFFF;
      crc_zblock = zblock;
      QLIX_COMM_TRACE_DEBUG("zblk_idx is [0x%x],p_zblk->hash_arg is [0x%x],crc_value is [0x%x]\n", zblock,
                            block.hash_arg, crc);
    }
    const uint32_t index = crc >> number & ITEM_MASK;
    QLIX_COMM_TRACE_DEBUG("zcell_id is [0x%x],item_idx is [0x%x]\n", cell.descriptor, index);
    if (item_put(&cell.items[index], dpp_hash_quarters(table), entry) == QLIX_COMM_OK) {
      location_set(entry, DPP_HASH_LOCATION_ZCELL, cell.descriptor, index);
      return QLIX_COMM_OK;
    }
    QLIX_COMM_TRACE_DEBUG("The item is full, check next. \n");
  }
  return DPP_HASH_RC_ITEM_FULL;
}

uint32_t dpp_hash_insert_zreg(dpp_hash* hash, dpp_hash_entry* entry) {
  const dpp_hash_engine& engine = hash->engine[entry->engine()];
  const uint32_t quarters = dpp_hash_quarters(dpp_hash_table_of(hash, *entry));
  for (uint32_t i = 0; i < engine.zcell_num; i++) {
    const dpp_hash_zcell& cell = hash->zcell[engine.zcell[i]];
    const uint32_t zblock = cell.descriptor / DPP_HASH_ZCELL_IN_BLOCK;
    if (zcell_usable(engine, entry->engine(), cell) &&
        item_put(&hash->zblock[zblock].zreg, quarters, entry) == QLIX_COMM_OK) {
      location_set(entry, DPP_HASH_LOCATION_ZREG, zblock * DPP_HASH_ZCELL_IN_BLOCK, 0);
      return QLIX_COMM_OK;
    }
  }
  return DPP_HASH_RC_ITEM_FULL;
}

uint32_t dpp_hash_write_hardware(dpp_hash* hash, const dpp_hash_entry* entry, bool owed) {
  const dpp_hash_engine& engine = hash->engine[entry->engine()];
  if (engine.soft_reset != 0) {
    return QLIX_COMM_OK;
  }
  const dpp_hash_table& table = dpp_hash_table_of(hash, *entry);
  const uint32_t quarters = dpp_hash_quarters(table);
  dpp_se_write write{};
  write.size = table.entry_bytes;
  if (shadow_has(hash, *entry)) {
    write.data = entry->image();
    write.data_bytes = DPP_HASH_HEAD_BYTES + table.key_len + table.rst_len;
  }
  if (dpp_hash_stands_in(*entry, DPP_HASH_LOCATION_DDR)) {
    write.place = DPP_SE_DDR;
    write.baddr = table.ddr_baddr;
    write.index = dpp_hash_spill_item(table, dpp_se_word_get(entry->order)) * DPP_HASH_QUARTERS + entry->quarter;
    write.ecc_en = table.ddr_ecc_en;
  } else {
    const uint32_t descriptor = descriptor_of(*entry);
    const bool in_register = dpp_hash_stands_in(*entry, DPP_HASH_LOCATION_ZREG);
    write.place = in_register ? DPP_SE_ZREG : DPP_SE_ZCELL;
    write.zblock = descriptor / DPP_HASH_ZCELL_IN_BLOCK;
    write.zcell = descriptor % DPP_HASH_ZCELL_IN_BLOCK;
    write.index = in_register ? DPP_SE_ZREG_ADDR : entry->cell & ITEM_MASK;
    write.mask = ALL_QUARTERS & ~(ALL_QUARTERS >> quarters);
    write.mask >>= entry->quarter;
  }
  // There is never more than one debt, and the first takes no memory: it is always kept.
  bool kept = false;
  return dpp_se_debts_send(&hash->debts, &hash->writer, &write, owed, &kept);
}
