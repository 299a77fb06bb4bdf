#include "dpp_hash_spill.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "dpp_hash_pool.h"
#include "dpp_se/dpp_crc.h"
#include "qlix_comm/check.h"
#include "qlix_comm/memory.h"
#include "qlix_comm/prefetch.h"

namespace {

// A slot: the number of the entry, 0 for none; bits of its checksum; and in the first slot of an item whether the item
// was full once.
constexpr uint32_t SLOT_NUMBER = 0x01FFFFFF;
constexpr uint32_t SLOT_CHECK_SHIFT = 25;
constexpr uint32_t SLOT_CHECK = 0x3F;
constexpr uint32_t SLOT_PASSED = 0x80000000;

// As many entries as a table can have find a place.
static_assert((DPP_HASH_DDR_ITEMS_MAX + DPP_HASH_ZCELL_NUM * DPP_HASH_ITEM_NUM + DPP_HASH_ZBLOCK_NUM) *
                  DPP_HASH_QUARTERS <
              SLOT_NUMBER);

constexpr std::uintptr_t CACHE_LINE = 64;
/// Slots that are looked at on either side for an entry near a place.
constexpr ptrdiff_t NEAR_SLOTS = 32;

/// Entries that an item has room for.
uint32_t room(const dpp_hash_table& table) {
  return DPP_SE_ITEM_BYTES / table.entry_bytes;
}

size_t slot_num(const dpp_hash_table& table) {
  return size_t{table.ddr_items} * room(table);
}

/// First slot of the item of a place.
uint32_t* item_begin(const dpp_hash_table& table, uint32_t order) {
  return table.ddr + size_t{dpp_hash_spill_item(table, order)} * room(table);
}

uint32_t* slot_of(const dpp_hash_table& table, const dpp_hash_entry& entry) {
  return item_begin(table, dpp_hash_order_get(entry.order)) + entry.quarter / dpp_hash_quarters(table);
}

uint32_t slot_check(uint32_t order) {
  return (order & SLOT_CHECK) << SLOT_CHECK_SHIFT;
}

const qlix_comm_rb_node* node_of(const dpp_hash_table& table, uint32_t slot) {
  return dpp_hash_pool_node(table.pool, slot & SLOT_NUMBER);
}

}  // namespace

uint32_t dpp_hash_spill_init(dpp_hash_table* table) {
  const size_t bytes = slot_num(*table) * sizeof(uint32_t);
  void* first = nullptr;
  table->ddr_memory = dpp_hash_memory_take(bytes, &first);
  QLIX_COMM_CHECK_POINT(table->ddr_memory);
  table->ddr = static_cast<uint32_t*>(std::memset(first, 0, bytes));
  return QLIX_COMM_OK;
}

void dpp_hash_spill_release(dpp_hash_table* table) {
  ic_comm_free_memory(table->ddr_memory);
}

uint32_t dpp_hash_spill_order(const dpp_hash_table& table, const uint8_t* key) {
  if (table.ddr_items == 0) {
    return 0;
  }
  uint8_t crc_key[DPP_SE_ITEM_BYTES];
  dpp_hash_set_crc_key(key, table.key_len, crc_key);
  const uint32_t crc = dpp_crc32_calc(crc_key, table.key_len, DPP_CRC32_POLY);
  return std::rotr(crc, std::countr_zero(table.ddr_items));
}

void dpp_hash_spill_prefetch(const dpp_hash_table& table, uint32_t order) {
  if (table.ddr_items == 0) {
    return;
  }
  // As numbers: the lines around may lie outside the area.
  const auto at = reinterpret_cast<std::uintptr_t>(item_begin(table, order));
  for (const std::uintptr_t line : {at, at - CACHE_LINE, at + CACHE_LINE}) {
    qlix_comm_prefetch(reinterpret_cast<const void*>(line));  // NOLINT(performance-no-int-to-ptr)
  }
}

dpp_hash_entry* dpp_hash_spill_find(const dpp_hash_table& table, uint32_t order, const uint8_t* key) {
  const uint32_t* const begin = item_begin(table, order);
  for (const uint32_t* slot = begin; slot != begin + room(table); slot++) {
    const uint32_t number = *slot & SLOT_NUMBER;
    if (number == 0 || (*slot & ~(SLOT_NUMBER | SLOT_PASSED)) != slot_check(order)) {
      continue;
    }
    dpp_hash_entry* const entry = dpp_hash_pool_entry(table.pool, number);
    if (std::memcmp(entry->key(), key, table.key_len) == 0) {
      return entry;
    }
  }
  return nullptr;
}

bool dpp_hash_spill_passed(const dpp_hash_table& table, uint32_t order) {
  return (*item_begin(table, order) & SLOT_PASSED) != 0;
}

uint32_t dpp_hash_spill_put(const dpp_hash_table& table, dpp_hash_entry* entry) {
  uint32_t* const begin = item_begin(table, dpp_hash_order_get(entry->order));
  for (uint32_t at = 0; at < room(table); at++) {
    if ((begin[at] & SLOT_NUMBER) == 0) {
      entry->quarter = at * dpp_hash_quarters(table) & (DPP_HASH_QUARTERS - 1);
      dpp_hash_spill_set(table, *entry, true);
      return QLIX_COMM_OK;
    }
  }
  *begin |= SLOT_PASSED;
  return DPP_HASH_RC_ITEM_FULL;
}

bool dpp_hash_spill_has(const dpp_hash_table& table, const dpp_hash_entry& entry) {
  return (*slot_of(table, entry) & SLOT_NUMBER) == entry.number;
}

void dpp_hash_spill_set(const dpp_hash_table& table, const dpp_hash_entry& entry, bool stands) {
  uint32_t& slot = *slot_of(table, entry);
  slot = (slot & SLOT_PASSED) | (stands ? slot_check(dpp_hash_order_get(entry.order)) | entry.number : 0);
}

dpp_hash_beside dpp_hash_spill_beside(const dpp_hash_table& table, const dpp_hash_entry& entry) {
  // An entry that has passed its item belongs before those that stand there, or behind: near enough.
  const bool spilled = dpp_hash_stands_in(entry, DPP_HASH_LOCATION_DDR);
  const uint32_t* const place = spilled ? slot_of(table, entry) : item_begin(table, dpp_hash_order_get(entry.order));
  const uint32_t* const first = place - std::min(place - table.ddr, NEAR_SLOTS);
  const uint32_t* before = place;
  while (before != first && (before[-1] & SLOT_NUMBER) == 0) {
    before--;
  }
  const uint32_t* behind = spilled ? place + 1 : place;
  const uint32_t* const end = table.ddr + slot_num(table);
  const uint32_t* const last = behind + std::min(end - behind, NEAR_SLOTS);
  while (behind != last && (*behind & SLOT_NUMBER) == 0) {
    behind++;
  }
  return {before != first ? node_of(table, before[-1]) : nullptr, behind != last ? node_of(table, *behind) : nullptr};
}
