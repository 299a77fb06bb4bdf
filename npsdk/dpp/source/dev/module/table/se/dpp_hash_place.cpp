#include "dpp_hash_place.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "dpp_se/dpp_crc.h"
#include "qlix_comm/check.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t DESCRIPTOR_SHIFT = 9;
constexpr uint32_t DESCRIPTOR_MASK = 0x7F;
constexpr uint32_t ITEM_MASK = DPP_HASH_ITEM_NUM - 1;
constexpr uint32_t ALL_QUARTERS = 0xF;
constexpr uint32_t LOCATION_MASK = 0x1FFFFF;
/// Slots that are looked at for an entry near a key's item: a few cache lines in a row.
constexpr size_t NEAR_SLOTS = 64;

bool zcell_usable(const dpp_hash_engine& engine, uint32_t engine_id, const dpp_hash_zcell& cell) {
  const bool dedicated = (cell.flags & 1) != 0;
  return dedicated ? cell.engine == engine_id : engine.exclude_shared == 0;
}

void location_set(dpp_hash_entry* entry, uint32_t kind, uint32_t descriptor, uint32_t item) {
  entry->location = (kind << DPP_HASH_LOCATION_SHIFT | descriptor << DESCRIPTOR_SHIFT | item) & LOCATION_MASK;
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

}  // namespace

std::span<dpp_hash_entry*> dpp_hash_slots_of(dpp_hash* hash, const dpp_hash_entry& entry) {
  const dpp_hash_table& table = dpp_hash_table_of(hash, entry);
  const uint32_t quarters = dpp_hash_quarters(table);
  const uint32_t kind = entry.location >> DPP_HASH_LOCATION_SHIFT;
  if (kind == DPP_HASH_LOCATION_DDR) {
    return dpp_hash_ddr_slots(table, dpp_hash_ddr_index_of(table, entry)).subspan(entry.quarter / quarters, 1);
  }
  const uint32_t descriptor = entry.location >> DESCRIPTOR_SHIFT & DESCRIPTOR_MASK;
  dpp_hash_item& item = kind == DPP_HASH_LOCATION_ZREG ? hash->zblock[descriptor / DPP_HASH_ZCELL_IN_BLOCK].zreg
                                                       : hash->zcell[descriptor].items[entry.location & ITEM_MASK];
  return {&item.entry[entry.quarter], quarters};
}

uint32_t dpp_hash_ddr_crc(const dpp_hash_table& table, const uint8_t* crc_key) {
  return table.ddr_items == 0 ? 0 : dpp_crc32_calc(crc_key, table.key_len, DPP_CRC32_POLY);
}

void dpp_hash_order_set(const dpp_hash_table& table, uint32_t crc, uint8_t* order) {
  const uint32_t place = std::rotr(crc, std::countr_zero(table.ddr_items));
  for (int i = 0; i < 4; i++) {
    order[i] = static_cast<uint8_t>(place >> (24 - 8 * i));
  }
}

uint32_t dpp_hash_ddr_index_of(const dpp_hash_table& table, const dpp_hash_entry& entry) {
  uint32_t place = 0;
  for (const uint8_t byte : entry.order) {
    place = place << 8 | byte;
  }
  return dpp_hash_ddr_index(table, std::rotl(place, std::countr_zero(table.ddr_items)));
}

std::span<dpp_hash_entry*> dpp_hash_ddr_slots(const dpp_hash_table& table, uint32_t index) {
  const uint32_t room = dpp_hash_ddr_room(table);
  return {&table.ddr[size_t{index} * room], room};
}

dpp_hash_entry* dpp_hash_ddr_near(const dpp_hash_table& table, uint32_t index) {
  const size_t first = size_t{index} * dpp_hash_ddr_room(table);
  const size_t all = size_t{table.ddr_items} * dpp_hash_ddr_room(table);
  // The key goes between the two that stand next to its item: both are fetched at once.
  for (size_t back = 1; back <= std::min(first, NEAR_SLOTS); back++) {
    if (table.ddr[first - back] != nullptr) {
      __builtin_prefetch(table.ddr[first - back], 1);
      break;
    }
  }
  for (size_t at = first; at < std::min(all, first + NEAR_SLOTS); at++) {
    if (table.ddr[at] != nullptr) {
      return table.ddr[at];
    }
  }
  return nullptr;
}

uint32_t dpp_hash_insert_ddr(dpp_hash* hash, dpp_hash_entry* entry, uint32_t crc) {
  const dpp_hash_table& table = dpp_hash_table_of(hash, *entry);
  const uint32_t index = dpp_hash_ddr_index(table, crc);
  const std::span<dpp_hash_entry*> slots = dpp_hash_ddr_slots(table, index);
  const auto at = std::ranges::find(slots, nullptr);
  if (at == slots.end()) {
    return DPP_HASH_RC_ITEM_FULL;
  }
  *at = entry;
  location_set(entry, DPP_HASH_LOCATION_DDR, 0, 0);
  entry->quarter = static_cast<uint32_t>(at - slots.begin()) * dpp_hash_quarters(table) & (DPP_HASH_QUARTERS - 1);
  return QLIX_COMM_OK;
}

uint32_t dpp_hash_insert_zcell(dpp_hash* hash, dpp_hash_entry* entry, const uint8_t* crc_key) {
  const dpp_hash_engine& engine = hash->engine[entry->engine];
  const dpp_hash_table& table = dpp_hash_table_of(hash, *entry);
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
  const dpp_hash_engine& engine = hash->engine[entry->engine];
  const uint32_t quarters = dpp_hash_quarters(dpp_hash_table_of(hash, *entry));
  for (uint32_t i = 0; i < engine.zcell_num; i++) {
    const dpp_hash_zcell& cell = hash->zcell[engine.zcell[i]];
    const uint32_t zblock = cell.descriptor / DPP_HASH_ZCELL_IN_BLOCK;
    if (zcell_usable(engine, entry->engine, cell) &&
        item_put(&hash->zblock[zblock].zreg, quarters, entry) == QLIX_COMM_OK) {
      location_set(entry, DPP_HASH_LOCATION_ZREG, zblock * DPP_HASH_ZCELL_IN_BLOCK, 0);
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
  const dpp_hash_table& table = dpp_hash_table_of(hash, *entry);
  const uint32_t quarters = dpp_hash_quarters(table);
  dpp_se_write write{};
  write.size = table.entry_bytes;
  if (dpp_hash_slots_of(hash, *entry)[0] == entry) {
    write.data = entry->image();
    write.data_bytes = DPP_HASH_HEAD_BYTES + table.key_len + table.rst_len;
  }
  const uint32_t kind = entry->location >> DPP_HASH_LOCATION_SHIFT;
  if (kind == DPP_HASH_LOCATION_DDR) {
    write.place = DPP_SE_DDR;
    write.baddr = table.ddr_baddr;
    write.index = dpp_hash_ddr_index_of(table, *entry) * DPP_HASH_QUARTERS + entry->quarter;
    write.ecc_en = table.ddr_ecc_en;
  } else {
    const uint32_t descriptor = entry->location >> DESCRIPTOR_SHIFT & DESCRIPTOR_MASK;
    write.place = kind == DPP_HASH_LOCATION_ZREG ? DPP_SE_ZREG : DPP_SE_ZCELL;
    write.zblock = descriptor / DPP_HASH_ZCELL_IN_BLOCK;
    write.zcell = descriptor % DPP_HASH_ZCELL_IN_BLOCK;
    write.index = kind == DPP_HASH_LOCATION_ZREG ? DPP_SE_ZREG_ADDR : entry->location & ITEM_MASK;
    write.mask = ALL_QUARTERS & ~(ALL_QUARTERS >> quarters);
    write.mask >>= entry->quarter;
  }
  return hash->writer.write(hash->writer.context, &write);
}
