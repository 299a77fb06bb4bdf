#include "dpp_hash_place.h"

#include <cstring>

#include "dpp_se/dpp_crc.h"
#include "qlix_comm/check.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t KIND_SHIFT = 17;
constexpr uint32_t DESCRIPTOR_SHIFT = 9;
constexpr uint32_t DESCRIPTOR_MASK = 0x7F;
constexpr uint32_t ITEM_MASK = DPP_HASH_ITEM_NUM - 1;
constexpr uint32_t ROWS_IN_ITEM = 4;

constexpr uint8_t HEAD_VALID = 0x80;
constexpr uint32_t HEAD_WIDTH_SHIFT = 5;

bool zcell_usable(const dpp_hash_engine& engine, uint32_t engine_id, const dpp_hash_zcell& cell) {
  const bool dedicated = (cell.flags & 1) != 0;
  return dedicated ? cell.engine == engine_id : engine.exclude_shared == 0;
}

uint32_t location_of(uint32_t kind, uint32_t descriptor, uint32_t item) {
  return kind << KIND_SHIFT | descriptor << DESCRIPTOR_SHIFT | item;
}

/// The bytes of one entry, in place.
void entry_image(const dpp_hash_entry& entry, uint8_t* bytes) {
  const uint32_t width = entry.entry_bytes == 16 ? 0 : entry.entry_bytes == 32 ? 1 : 2;
  bytes[0] = static_cast<uint8_t>(HEAD_VALID | width << HEAD_WIDTH_SHIFT | entry.table);
  bytes[1] = entry.engine;
  std::memcpy(bytes + DPP_HASH_HEAD_BYTES, entry.key(), entry.key_len);
  std::memcpy(bytes + DPP_HASH_HEAD_BYTES + entry.key_len, entry.rst(), entry.rst_len);
}

}  // namespace

uint32_t dpp_hash_item_put(dpp_hash_item* item, dpp_hash_entry* entry) {
  const uint32_t quarters = entry->quarters();
  for (uint32_t first = 0; first < DPP_HASH_QUARTERS; first += quarters) {
    bool free = true;
    for (uint32_t i = 0; i < quarters; i++) {
      free = free && item->entry[first + i] == nullptr;
    }
    if (!free) {
      continue;
    }
    for (uint32_t i = 0; i < quarters; i++) {
      item->entry[first + i] = entry;
    }
    entry->item = item;
    entry->quarter = static_cast<uint8_t>(first);
    return QLIX_COMM_OK;
  }
  return DPP_HASH_RC_ITEM_FULL;
}

void dpp_hash_item_remove(dpp_hash_entry* entry) {
  for (uint32_t i = 0; i < entry->quarters(); i++) {
    entry->item->entry[entry->quarter + i] = nullptr;
  }
}

uint32_t dpp_hash_ddr_index(const dpp_hash_table& table, const uint8_t* crc_key) {
  return dpp_crc32_calc(crc_key, table.key_len, DPP_CRC32_POLY) & (table.ddr_items - 1);
}

uint32_t dpp_hash_insert_ddr(dpp_hash* hash, dpp_hash_entry* entry, const uint8_t* crc_key) {
  const dpp_hash_table& table = hash->engine[entry->engine].table[entry->table];
  const uint32_t index = dpp_hash_ddr_index(table, crc_key);
  const uint32_t rc = dpp_hash_item_put(&table.ddr[index], entry);
  if (rc == QLIX_COMM_OK) {
    entry->location = location_of(DPP_HASH_LOCATION_DDR, 0, 0);
    entry->ddr_index = index;
  }
  return rc;
}

uint32_t dpp_hash_insert_zcell(dpp_hash* hash, dpp_hash_entry* entry, const uint8_t* crc_key) {
  const dpp_hash_engine& engine = hash->engine[entry->engine];
  uint32_t crc = 0;
  uint32_t crc_zblock = DPP_HASH_ZBLOCK_NUM;  // none yet
  for (uint32_t i = 0; i < engine.zcell_num; i++) {
    dpp_hash_zcell& cell = hash->zcell[engine.zcell[i]];
    if (!zcell_usable(engine, entry->engine, cell)) {
      continue;
    }
    const uint32_t zblock = cell.descriptor / DPP_HASH_ZCELL_IN_BLOCK;
    const uint32_t number = cell.descriptor % DPP_HASH_ZCELL_IN_BLOCK;
    if (zblock != crc_zblock) {
      const dpp_hash_zblock& block = hash->zblock[zblock];
      crc = dpp_crc16_table_lookup(crc_key, entry->key_len, block.hash_arg) & 0xFFFF;
      crc_zblock = zblock;
      QLIX_COMM_TRACE_DEBUG("zblk_idx is [0x%x],p_zblk->hash_arg is [0x%x],crc_value is [0x%x]\n", zblock,
                            block.hash_arg, crc);
    }
    const uint32_t index = crc >> number & ITEM_MASK;
    QLIX_COMM_TRACE_DEBUG("zcell_id is [0x%x],item_idx is [0x%x]\n", cell.descriptor, index);
    if (dpp_hash_item_put(&cell.items[index], entry) == QLIX_COMM_OK) {
      entry->location = location_of(DPP_HASH_LOCATION_ZCELL, cell.descriptor, index);
      return QLIX_COMM_OK;
    }
    QLIX_COMM_TRACE_DEBUG("The item is full, check next. \n");
  }
  return DPP_HASH_RC_ITEM_FULL;
}

uint32_t dpp_hash_insert_zreg(dpp_hash* hash, dpp_hash_entry* entry) {
  const dpp_hash_engine& engine = hash->engine[entry->engine];
  for (uint32_t i = 0; i < engine.zcell_num; i++) {
    const dpp_hash_zcell& cell = hash->zcell[engine.zcell[i]];
    const uint32_t zblock = cell.descriptor / DPP_HASH_ZCELL_IN_BLOCK;
    if (zcell_usable(engine, entry->engine, cell) &&
        dpp_hash_item_put(&hash->zblock[zblock].zreg, entry) == QLIX_COMM_OK) {
      entry->location = location_of(DPP_HASH_LOCATION_ZREG, zblock * DPP_HASH_ZCELL_IN_BLOCK, 0);
      return QLIX_COMM_OK;
    }
  }
  return DPP_HASH_RC_ITEM_FULL;
}

uint32_t dpp_hash_write_hardware(dpp_hash* hash, const dpp_hash_entry* entry) {
  const dpp_hash_engine& engine = hash->engine[entry->engine];
  if (engine.soft_reset != 0) {
    return QLIX_COMM_OK;
  }
  dpp_se_write write{};
  write.size = DPP_SE_ITEM_BYTES;
  for (uint32_t i = 0; i < entry->quarters(); i++) {
    write.mask |= 8u >> (entry->quarter + i);
  }
  const uint32_t kind = entry->location >> KIND_SHIFT;
  if (kind == DPP_HASH_LOCATION_DDR) {
    const dpp_hash_table& table = engine.table[entry->table];
    // The spill area is written by the row: just the entry's own.
    write.place = DPP_SE_DDR;
    write.baddr = table.ddr_baddr;
    write.index = entry->ddr_index * ROWS_IN_ITEM + entry->quarter;
    write.ecc_en = table.ddr_ecc_en;
    write.size = entry->entry_bytes;
    if (entry->item->entry[entry->quarter] == entry) {
      entry_image(*entry, write.data);
    }
  } else {
    const uint32_t descriptor = entry->location >> DESCRIPTOR_SHIFT & DESCRIPTOR_MASK;
    write.place = kind == DPP_HASH_LOCATION_ZREG ? DPP_SE_ZREG : DPP_SE_ZCELL;
    write.zblock = descriptor / DPP_HASH_ZCELL_IN_BLOCK;
    write.zcell = descriptor % DPP_HASH_ZCELL_IN_BLOCK;
    write.index = kind == DPP_HASH_LOCATION_ZREG ? DPP_SE_ZREG_ADDR : entry->location & ITEM_MASK;
    if (entry->item->entry[entry->quarter] == entry) {
      entry_image(*entry, write.data + size_t{entry->quarter} * 16);
    }
  }
  return hash->writer.write(hash->writer.context, &write);
}
