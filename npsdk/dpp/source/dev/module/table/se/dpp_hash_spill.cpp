#include "dpp_hash_spill.h"

#include <cstring>

#include "dpp_hash_pool.h"
#include "qlix_comm/check.h"
#include "qlix_comm/memory.h"
#include "qlix_comm/prefetch.h"

namespace {

// A byte holds two items, a bit for each quarter.
constexpr uint32_t ITEMS_IN_BYTE = 8 / DPP_HASH_QUARTERS;

uint8_t& item_byte(const dpp_hash_table& table, uint32_t order) {
  return table.ddr[dpp_hash_spill_item(table, order) / ITEMS_IN_BYTE];
}

/// The quarters that an entry of the table takes, from `first` on, as bits of its item's byte.
uint8_t quarter_bits(const dpp_hash_table& table, uint32_t order, uint32_t first) {
  const uint32_t bits = (1u << dpp_hash_quarters(table)) - 1;
  return static_cast<uint8_t>(bits << first << dpp_hash_spill_item(table, order) % ITEMS_IN_BYTE * DPP_HASH_QUARTERS);
}

}  // namespace

uint32_t dpp_hash_spill_init(dpp_hash_table* table) {
  const size_t bytes = (table->ddr_items + ITEMS_IN_BYTE - 1) / ITEMS_IN_BYTE;
  if (bytes == 0) {
    return QLIX_COMM_OK;
  }
  void* first = nullptr;
  table->ddr_memory = ic_comm_malloc_block(bytes, &first);
  QLIX_COMM_CHECK_POINT(table->ddr_memory);
  table->ddr = static_cast<uint8_t*>(std::memset(first, 0, bytes));
  return QLIX_COMM_OK;
}

void dpp_hash_spill_release(dpp_hash_table* table) {
  ic_comm_free_memory(table->ddr_memory);
}

void dpp_hash_spill_prefetch(const dpp_hash_table& table, uint32_t order) {
  if (table.ddr_items != 0) {
    qlix_comm_prefetch(&item_byte(table, order));
  }
}

uint32_t dpp_hash_spill_put(const dpp_hash_table& table, dpp_hash_entry* entry) {
  const uint32_t order = dpp_se_word_get(entry->order);
  uint8_t& taken = item_byte(table, order);
  for (uint32_t first = 0; first < DPP_HASH_QUARTERS; first += dpp_hash_quarters(table)) {
    const uint8_t bits = quarter_bits(table, order, first);
    if ((taken & bits) == 0) {
      taken |= bits;
      entry->quarter = first & (DPP_HASH_QUARTERS - 1);
      return QLIX_COMM_OK;
    }
  }
  return DPP_HASH_RC_ITEM_FULL;
}

bool dpp_hash_spill_has(const dpp_hash_table& table, const dpp_hash_entry& entry) {
  const uint32_t order = dpp_se_word_get(entry.order);
  return (item_byte(table, order) & quarter_bits(table, order, entry.quarter)) != 0;
}

void dpp_hash_spill_set(const dpp_hash_table& table, const dpp_hash_entry& entry, bool stands) {
  const uint32_t order = dpp_se_word_get(entry.order);
  const uint8_t bits = quarter_bits(table, order, entry.quarter);
  uint8_t& taken = item_byte(table, order);
  taken = static_cast<uint8_t>(stands ? taken | bits : taken & ~bits);
}
