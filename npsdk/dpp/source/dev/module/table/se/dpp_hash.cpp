#include "dpp_se/dpp_hash.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "dpp_hash_index.h"
#include "dpp_hash_place.h"
#include "dpp_hash_pool.h"
#include "dpp_hash_spill.h"
#include "dpp_se/dpp_crc.h"
#include "qlix_comm/check.h"
#include "qlix_comm/memory.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t KEY_BYTES_MAX = DPP_SE_ITEM_BYTES - DPP_HASH_HEAD_BYTES;

/// The table of an engine, or the code of what it lacks.
uint32_t table_get(dpp_hash* hash, uint32_t engine, uint32_t table, dpp_hash_table** at) {
  QLIX_COMM_CHECK_POINT(hash);
  QLIX_COMM_CHECK_INDEX_UPPER(engine, DPP_HASH_ENGINE_NUM - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(table, DPP_HASH_TABLE_NUM - 1);
  *at = hash->engine[engine].table[table];
  if (*at == nullptr) {
    QLIX_COMM_TRACE_ERROR("hash engine %u has no table %u\n", engine, table);
    return QLIX_COMM_POINT_NULL;
  }
  return QLIX_COMM_OK;
}

void head_set(const dpp_hash_table& table, uint32_t engine, uint32_t table_id, uint8_t* head) {
  const uint32_t width = std::countr_zero(dpp_hash_quarters(table)) & DPP_HASH_HEAD_WIDTH_MASK;
  head[0] = static_cast<uint8_t>(DPP_HASH_HEAD_VALID | width << DPP_HASH_HEAD_WIDTH_SHIFT | table_id);
  head[1] = static_cast<uint8_t>(engine);
}

/// The checksum of a key with the bits that choose its item in front.
uint32_t key_order(const dpp_hash_table& table, const uint8_t* key) {
  uint8_t crc_key[DPP_SE_ITEM_BYTES];
  dpp_hash_set_crc_key(key, table.key_len, crc_key);
  const uint32_t crc = dpp_crc32_calc(crc_key, table.key_len, DPP_CRC32_POLY);
  return std::rotr(crc, table.ddr_items != 0 ? std::countr_zero(table.ddr_items) : 0);
}

dpp_hash_entry* entry_make(dpp_hash_table& table, uint32_t engine, uint32_t table_id, const dpp_hash_row& row,
                           uint32_t order) {
  dpp_hash_entry* entry = dpp_hash_pool_take(&table.pool);
  if (entry == nullptr) {
    return nullptr;
  }
  entry->kind = 0;
  dpp_se_word_put(entry->order, order);
  head_set(table, engine, table_id, entry->image());
  std::memcpy(entry->key(), row.key, table.key_len);
  if (table.rst_len != 0) {
    std::memcpy(entry->rst(table), row.rst, table.rst_len);
  }
  return entry;
}

/// Spill area, zcells, overflow registers, in this order.
uint32_t entry_place(dpp_hash* hash, const dpp_hash_table& table, dpp_hash_entry* entry) {
  uint32_t rc = table.ddr_items != 0 ? dpp_hash_insert_ddr(hash, entry) : DPP_HASH_RC_ITEM_FULL;
  if (rc == DPP_HASH_RC_ITEM_FULL) {
    rc = dpp_hash_insert_zcell(hash, entry);
  }
  if (rc == DPP_HASH_RC_ITEM_FULL) {
    rc = dpp_hash_insert_zreg(hash, entry);
  }
  return rc;
}

/// Writes the item after a change, or calls `undo` and tries to leave the chip with what it had.
template <typename Undo>
uint32_t write_or_undo(dpp_hash* hash, dpp_hash_entry* entry, Undo undo) {
  const uint32_t rc = dpp_hash_write_hardware(hash, entry);
  if (rc != QLIX_COMM_OK) {
    undo();
    // A write that was reported as failed may have been carried out in part.
    dpp_hash_write_hardware(hash, entry, true);
  }
  return rc;
}

/// What the chip is still owed comes first, so that the change is made on what the driver knows.
uint32_t debts_settle(dpp_hash* hash, uint32_t engine) {
  const bool silent = hash->engine[engine].soft_reset != 0;
  return silent ? QLIX_COMM_OK : dpp_se_debts_pay(&hash->debts, &hash->writer);
}

uint32_t result_change(dpp_hash* hash, const dpp_hash_table& table, dpp_hash_entry* entry, const uint8_t* rst) {
  uint8_t before[DPP_SE_ITEM_BYTES];
  if (table.rst_len == 0) {
    return QLIX_COMM_OK;
  }
  std::memcpy(before, entry->rst(table), table.rst_len);
  std::memcpy(entry->rst(table), rst, table.rst_len);
  return write_or_undo(hash, entry, [&] { std::memcpy(entry->rst(table), before, table.rst_len); });
}

void table_release(dpp_hash_table*& table) {
  if (table == nullptr) {
    return;
  }
  dpp_hash_pool_release(&table->pool);
  dpp_hash_index_release(&table->index);
  dpp_hash_spill_release(table);
  ic_comm_free_memory(table);
  table = nullptr;
}

uint32_t table_make(const dpp_hash_table_cfg& cfg, dpp_hash_table*& table) {
  const uint32_t bytes = DPP_HASH_HEAD_BYTES + cfg.key_len + cfg.rst_len;
  void* const memory = ic_comm_malloc_memory(sizeof(dpp_hash_table));
  QLIX_COMM_CHECK_POINT(memory);
  table = new (memory) dpp_hash_table{};
  table->key_len = cfg.key_len;
  table->rst_len = cfg.rst_len;
  table->entry_bytes = bytes <= 16 ? 16 : bytes <= 32 ? 32 : 64;
  table->ddr_items = cfg.ddr_items;
  table->ddr_baddr = cfg.ddr_baddr;
  table->ddr_ecc_en = cfg.ddr_ecc_en;
  dpp_hash_pool_init(&table->pool, bytes);
  QLIX_COMM_CALL(dpp_hash_index_init, &table->index);
  return dpp_hash_spill_init(table);
}

}  // namespace

uint32_t dpp_hash_init(dpp_hash* hash, const dpp_se_writer* writer) {
  QLIX_COMM_CHECK_POINT(hash);
  QLIX_COMM_CHECK_POINT(writer);
  QLIX_COMM_CHECK_POINT(reinterpret_cast<const void*>(writer->write));
  *hash = {};
  hash->writer = *writer;
  return QLIX_COMM_OK;
}

void dpp_hash_destroy(dpp_hash* hash) {
  if (hash == nullptr) {
    return;
  }
  for (dpp_hash_engine& engine : hash->engine) {
    for (dpp_hash_table*& table : engine.table) {
      table_release(table);
    }
  }
  dpp_se_debts_release(&hash->debts);
  for (dpp_hash_zcell& cell : hash->zcell) {
    ic_comm_free_memory(cell.items);
  }
  *hash = {};
}

uint32_t dpp_hash_zblock_init(dpp_hash* hash, uint32_t zblock, uint32_t hash_arg) {
  QLIX_COMM_CHECK_POINT(hash);
  QLIX_COMM_CHECK_INDEX_UPPER(zblock, DPP_HASH_ZBLOCK_NUM - 1);
  if (dpp_crc16_get_idx(hash_arg) == DPP_CRC16_NO_IDX) {
    return QLIX_COMM_OUT_OF_RANGE;
  }
  hash->zblock[zblock].inited = 1;
  hash->zblock[zblock].hash_arg = hash_arg;
  return QLIX_COMM_OK;
}

uint32_t dpp_hash_zcell_add(dpp_hash* hash, uint32_t engine, uint32_t zblock, uint32_t cell, uint32_t dedicated) {
  QLIX_COMM_CHECK_POINT(hash);
  QLIX_COMM_CHECK_INDEX_UPPER(engine, DPP_HASH_ENGINE_NUM - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(zblock, DPP_HASH_ZBLOCK_NUM - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(cell, DPP_HASH_ZCELL_IN_BLOCK - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(dedicated, 1);
  if (hash->zblock[zblock].inited == 0) {
    QLIX_COMM_TRACE_ERROR("zblock %u has no polynomial\n", zblock);
    return QLIX_COMM_POINT_NULL;
  }
  dpp_hash_engine& owner = hash->engine[engine];
  const uint32_t descriptor = zblock * DPP_HASH_ZCELL_IN_BLOCK + cell;
  for (uint32_t i = 0; i < owner.zcell_num; i++) {
    QLIX_COMM_CHECK_INDEX_UPPER(owner.zcell[i] == descriptor ? 1 : 0, 0);  // once in a list
  }
  dpp_hash_zcell& at = hash->zcell[descriptor];
  if (at.items == nullptr) {
    constexpr size_t BYTES = DPP_HASH_ITEM_NUM * sizeof(dpp_hash_item);
    at = {descriptor, dedicated, engine, static_cast<dpp_hash_item*>(ic_comm_malloc_memory(BYTES))};
    QLIX_COMM_CHECK_POINT(at.items);
    std::memset(at.items, 0, BYTES);
  } else if (dedicated != at.flags || (dedicated != 0 && at.engine != engine)) {
    QLIX_COMM_TRACE_ERROR("zcell %u of zblock %u is in use by engine %u\n", cell, zblock, at.engine);
    return QLIX_COMM_OUT_OF_RANGE;
  }
  owner.zcell[owner.zcell_num++] = descriptor;
  return QLIX_COMM_OK;
}

uint32_t dpp_hash_exclude_shared_set(dpp_hash* hash, uint32_t engine, uint32_t exclude) {
  QLIX_COMM_CHECK_POINT(hash);
  QLIX_COMM_CHECK_INDEX_UPPER(engine, DPP_HASH_ENGINE_NUM - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(exclude, 1);
  hash->engine[engine].exclude_shared = exclude;
  return QLIX_COMM_OK;
}

uint32_t dpp_hash_table_init(dpp_hash* hash, uint32_t engine, uint32_t table, const dpp_hash_table_cfg* cfg) {
  QLIX_COMM_CHECK_POINT(hash);
  QLIX_COMM_CHECK_POINT(cfg);
  QLIX_COMM_CHECK_INDEX_UPPER(engine, DPP_HASH_ENGINE_NUM - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(table, DPP_HASH_TABLE_NUM - 1);
  QLIX_COMM_CHECK_INDEX(cfg->key_len, 1, KEY_BYTES_MAX);
  QLIX_COMM_CHECK_INDEX_UPPER(cfg->rst_len, KEY_BYTES_MAX - cfg->key_len);
  QLIX_COMM_CHECK_INDEX_UPPER(cfg->ddr_items, DPP_HASH_DDR_ITEMS_MAX);
  QLIX_COMM_CHECK_INDEX_UPPER(cfg->ddr_items & (cfg->ddr_items - 1), 0);  // a power of two, or none
  dpp_hash_table*& at = hash->engine[engine].table[table];
  if (at != nullptr) {
    QLIX_COMM_TRACE_ERROR("hash engine %u has a table %u already\n", engine, table);
    return QLIX_COMM_OUT_OF_RANGE;
  }
  const uint32_t rc = table_make(*cfg, at);
  if (rc != QLIX_COMM_OK) {
    table_release(at);
  }
  return rc;
}

uint32_t dpp_hash_soft_reset_set(dpp_hash* hash, uint32_t engine, uint32_t soft_reset) {
  QLIX_COMM_CHECK_POINT(hash);
  QLIX_COMM_CHECK_INDEX_UPPER(engine, DPP_HASH_ENGINE_NUM - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(soft_reset, 1);
  hash->engine[engine].soft_reset = soft_reset;
  return QLIX_COMM_OK;
}

uint32_t dpp_hash_flush(dpp_hash* hash) {
  QLIX_COMM_CHECK_POINT(hash);
  return dpp_se_debts_pay(&hash->debts, &hash->writer);
}

uint32_t dpp_hash_rewrite(dpp_hash* hash, uint32_t engine) {
  QLIX_COMM_CHECK_POINT(hash);
  QLIX_COMM_CHECK_INDEX_UPPER(engine, DPP_HASH_ENGINE_NUM - 1);
  QLIX_COMM_CHECK_RC(debts_settle(hash, engine), "dpp_se_debts_pay");
  for (dpp_hash_table* table : hash->engine[engine].table) {
    if (table == nullptr) {
      continue;
    }
    const auto write = [hash, table](const dpp_hash_slot& slot) {
      return dpp_hash_write_hardware(hash, dpp_hash_pool_entry(table->pool, slot.number));
    };
    QLIX_COMM_CHECK_RC(dpp_hash_index_each(table->index, write), "dpp_hash_write_hardware");
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_hash_insert(dpp_hash* hash, uint32_t engine, uint32_t table, const dpp_hash_row* row) {
  dpp_hash_table* at = nullptr;
  QLIX_COMM_PASS(table_get(hash, engine, table, &at));
  QLIX_COMM_CHECK_POINT(row);
  QLIX_COMM_CHECK_POINT(row->key);
  if (at->rst_len != 0) {
    QLIX_COMM_CHECK_POINT(row->rst);
  }
  QLIX_COMM_CHECK_RC(debts_settle(hash, engine), "dpp_se_debts_pay");
  QLIX_COMM_CALL(dpp_hash_index_reserve, &at->index);
  const uint32_t order = key_order(*at, row->key);
  dpp_hash_index_prefetch(at->index, order);
  dpp_hash_spill_prefetch(*at, order);
  dpp_hash_entry* entry = entry_make(*at, engine, table, *row, order);
  QLIX_COMM_CHECK_POINT(entry);
  uint32_t slot = dpp_hash_index_seek(at->index, order);
  if (dpp_hash_entry* existing = dpp_hash_index_match(*at, order, row->key, &slot); existing != nullptr) {
    dpp_hash_pool_give(&at->pool, entry);
    return result_change(hash, *at, existing, row->rst);
  }
  if (entry_place(hash, *at, entry) != QLIX_COMM_OK) {
    at->insert_fail_num++;
    dpp_hash_pool_give(&at->pool, entry);
    return DPP_HASH_RC_TABLE_FULL;
  }
  const uint32_t rc = write_or_undo(hash, entry, [&] { dpp_hash_shadow_set(hash, entry, false); });
  if (rc != QLIX_COMM_OK) {
    dpp_hash_pool_give(&at->pool, entry);
    return rc;
  }
  dpp_hash_index_put(&at->index, *entry, slot);
  at->entry_num++;
  hash->engine[engine].entry_num++;
  return QLIX_COMM_OK;
}

uint32_t dpp_hash_search(dpp_hash* hash, uint32_t engine, uint32_t table, const uint8_t* key, uint8_t* rst,
                         dpp_hash_where* where) {
  dpp_hash_table* at = nullptr;
  QLIX_COMM_PASS(table_get(hash, engine, table, &at));
  QLIX_COMM_CHECK_POINT(key);
  const uint32_t order = key_order(*at, key);
  uint32_t slot = dpp_hash_index_seek(at->index, order);
  const dpp_hash_entry* entry = dpp_hash_index_match(*at, order, key, &slot);
  if (entry == nullptr) {
    return DPP_HASH_RC_ABSENT;
  }
  if (rst != nullptr) {
    std::memcpy(rst, entry->rst(*at), at->rst_len);
  }
  if (where != nullptr) {
    const bool spilled = dpp_hash_stands_in(*entry, DPP_HASH_LOCATION_DDR);
    *where = {dpp_hash_location(*entry), spilled ? dpp_hash_spill_item(*at, order) : 0, entry->quarter};
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_hash_delete(dpp_hash* hash, uint32_t engine, uint32_t table, const uint8_t* key) {
  dpp_hash_table* at = nullptr;
  QLIX_COMM_PASS(table_get(hash, engine, table, &at));
  QLIX_COMM_CHECK_POINT(key);
  const uint32_t order = key_order(*at, key);
  uint32_t slot = dpp_hash_index_seek(at->index, order);
  dpp_hash_index_fetch(*at, order, slot);
  dpp_hash_spill_prefetch(*at, order);
  dpp_hash_entry* entry = dpp_hash_index_match(*at, order, key, &slot);
  if (entry == nullptr) {
    return DPP_HASH_RC_ABSENT;
  }
  QLIX_COMM_CHECK_RC(debts_settle(hash, engine), "dpp_se_debts_pay");
  dpp_hash_shadow_set(hash, entry, false);
  QLIX_COMM_PASS(write_or_undo(hash, entry, [&] { dpp_hash_shadow_set(hash, entry, true); }));
  dpp_hash_index_drop(&at->index, slot);
  dpp_hash_pool_give(&at->pool, entry);
  at->entry_num--;
  hash->engine[engine].entry_num--;
  return QLIX_COMM_OK;
}
