// Items of hash memory and of spill areas on the screen.
#include <algorithm>
#include <limits>

#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_memory/dpp_se_mem.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/check.h"
#include "se_hash.h"
#include "se_print.h"

se_entry_view se_entry_at(const uint8_t* item, uint32_t at) {
  const uint32_t head = item[at];
  const uint32_t width = DPP_SE_QUARTER_BYTES << (head >> DPP_HASH_HEAD_WIDTH_SHIFT & DPP_HASH_HEAD_WIDTH_MASK);
  const bool valid = (head & DPP_HASH_HEAD_VALID) != 0 && width <= DPP_SE_ITEM_BYTES - at;
  return {valid ? 1u : 0u, valid ? width : DPP_SE_QUARTER_BYTES, item[at + 1], head & DPP_HASH_HEAD_TABLE_MASK};
}

uint32_t se_item_search(const uint8_t* item, const se_hash_key& key) {
  uint32_t at = 0;
  while (at < DPP_SE_ITEM_BYTES) {
    const se_entry_view entry = se_entry_at(item, at);
    if (entry.valid != 0 && entry.engine == key.engine && entry.table == key.table &&
        DPP_HASH_HEAD_BYTES + key.key_len + key.rst_len <= entry.bytes &&
        std::equal(key.bytes, key.bytes + key.key_len, item + at + DPP_HASH_HEAD_BYTES)) {
      return at;
    }
    at += entry.bytes;
  }
  return DPP_SE_ITEM_BYTES;
}

void se_item_print(const uint8_t* item) {
  uint32_t at = 0;
  while (at < DPP_SE_ITEM_BYTES) {
    const se_entry_view entry = se_entry_at(item, at);
    const uint32_t quarter = at / DPP_SE_QUARTER_BYTES;
    if (entry.valid == 0) {
      QLIX_COMM_PRINT("quarter %u: empty\n", quarter);
    } else {
      QLIX_COMM_PRINT("quarter %u: hash_id %u, table_id %u, %u bits\n", quarter, entry.engine, entry.table,
                      8 * entry.bytes);
      se_bytes_print("  key and result", item + at + DPP_HASH_HEAD_BYTES, entry.bytes - DPP_HASH_HEAD_BYTES);
    }
    at += entry.bytes;
  }
}

uint32_t se_ddr_item_read(uint32_t dev_id, uint32_t base, uint32_t index, uint8_t* item) {
  const uint64_t first = uint64_t{base} * (DPP_SE_DDR_UNIT_LINES / 4) + index;
  const uint32_t addr = static_cast<uint32_t>(std::min<uint64_t>(first, std::numeric_limits<uint32_t>::max()));
  uint32_t words[SE_ITEM_WORDS] = {};
  QLIX_COMM_CALL(dpp_se_smmu1_ind_read, dev_id, addr, DPP_SE_DDR_512, words);
  dpp_se_words_to_bytes(words, SE_ITEM_WORDS, item);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_hash_zcam_item_prt(uint32_t dev_id, uint32_t zblock, uint32_t zcell, uint32_t item) {
  uint32_t words[SE_ITEM_WORDS] = {};
  QLIX_COMM_CALL(dpp_se_zcell_read, dev_id, zblock, zcell, item, words);
  uint8_t bytes[DPP_SE_ITEM_BYTES];
  dpp_se_words_to_bytes(words, SE_ITEM_WORDS, bytes);
  QLIX_COMM_PRINT("zblock %u, zcell %u, item 0x%03x\n", zblock, zcell, item);
  se_item_print(bytes);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_hash_ddr4_item_prt(uint32_t dev_id, uint32_t hash_id, uint32_t bulk, uint32_t index) {
  DPP_REG_READ(dpp_regs::se_hash_bulk_ddr_cfg, cfg, dev_id, hash_id, bulk);
  const uint32_t base = cfg.ddr_baddr;
  uint8_t item[DPP_SE_ITEM_BYTES];
  QLIX_COMM_CALL(se_ddr_item_read, dev_id, base, index, item);
  QLIX_COMM_PRINT("hash_id %u, bulk %u, enabled %u, base 0x%04x, item 0x%x\n", hash_id, bulk, cfg.ddr_en, base, index);
  se_item_print(item);
  return QLIX_COMM_OK;
}
