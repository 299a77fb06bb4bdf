// A key looked up as the chip does: the same checksums, the same places, read one after the other.
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_memory/dpp_se_mem.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_se/dpp_crc.h"
#include "dpp_se/dpp_hash.h"
#include "qlix_comm/check.h"
#include "se_hash.h"
#include "se_print.h"

namespace {

constexpr uint32_t BULK_NUM = 8;
constexpr uint32_t KEY_WORDS = 16;  // key registers of the chip
constexpr uint32_t KEY_ARG_WORDS = 10;
constexpr uint32_t KEY_LEN_MAX = DPP_SE_ITEM_BYTES - DPP_HASH_HEAD_BYTES;
constexpr uint32_t ITEM_MASK = DPP_SE_ZCELL_LINES - 1;
constexpr uint32_t CRC16_MASK = 0xFFFF;

/// One look-up.
struct hash_search {
  uint32_t dev_id;
  se_hash_key key;
  uint8_t key_bytes[4 * KEY_WORDS];
  uint8_t crc_key[4 * KEY_WORDS];  // as the checksums see the key
  bool found;
};

// Prints a place's outcome behind what its caller has printed.
void place_judge(hash_search& s, const uint8_t* item) {
  const uint32_t at = se_item_search(item, s.key);
  s.found = at != DPP_SE_ITEM_BYTES;
  QLIX_COMM_PRINT(": %s\n", s.found ? "HIT" : "miss");
  if (s.found) {
    QLIX_COMM_PRINT("found in quarter %u\n", at / DPP_SE_QUARTER_BYTES);
    se_bytes_print("result", item + at + DPP_HASH_HEAD_BYTES + s.key.key_len, s.key.rst_len);
  }
}

uint32_t ddr_search(hash_search& s) {
  DPP_REG_READ(dpp_regs::se_hash_crc_poly, polynomial, s.dev_id, 0, s.key.engine);
  const uint32_t crc = dpp_crc32_calc(s.crc_key, s.key.key_len, polynomial.crc_poly);
  for (uint32_t bulk = 0; bulk < BULK_NUM && !s.found; ++bulk) {
    DPP_REG_READ(dpp_regs::se_hash_bulk_ddr_cfg, cfg, s.dev_id, s.key.engine, bulk);
    if (cfg.ddr_en == 0) {
      continue;
    }
    const uint32_t index = crc & ((1u << cfg.ddr_depth) - 1);
    uint8_t item[DPP_SE_ITEM_BYTES];
    QLIX_COMM_CALL(se_ddr_item_read, s.dev_id, cfg.ddr_baddr, index, item);
    QLIX_COMM_PRINT("ddr bulk %u: crc 0x%08x, item 0x%x", bulk, crc, index);
    place_judge(s, item);
  }
  return QLIX_COMM_OK;
}

/// What the search needs to know of a zblock.
struct zblock_view {
  bool mine;                         // it serves this engine
  uint32_t hash_arg;                 // polynomial
  bool cell[DPP_SE_ZCELL_IN_BLOCK];  // usable for this table
};

uint32_t zblock_get(const hash_search& s, uint32_t zblock, zblock_view& view) {
  const uint32_t group = zblock / DPP_SE_ZBLOCK_IN_GROUP;
  const uint32_t number = zblock % DPP_SE_ZBLOCK_IN_GROUP;
  DPP_REG_READ(dpp_regs::zblock_service_configure, service, s.dev_id, group, number);
  view.mine = service.st_en == 1 && service.service_sel == 0 && service.hash_channel_sel == s.key.engine;
  if (!view.mine) {
    return QLIX_COMM_OK;
  }
  DPP_REG_READ(dpp_regs::zblock_hash_arg, arg, s.dev_id, group, number);
  view.hash_arg = arg.hash_arg;
  DPP_REG_READ(dpp_regs::zblock_hash_zcell_mono, mono, s.dev_id, group, number);
  // Whether a zcell is dedicated to one table, and to which.
  view.cell[0] = mono.zcell0_mono == 0 || mono.zcell0_tbl_id == s.key.table;
  view.cell[1] = mono.zcell1_mono == 0 || mono.zcell1_tbl_id == s.key.table;
  view.cell[2] = mono.zcell2_mono == 0 || mono.zcell2_tbl_id == s.key.table;
  view.cell[3] = mono.zcell3_mono == 0 || mono.zcell3_tbl_id == s.key.table;
  return QLIX_COMM_OK;
}

uint32_t zcells_search(hash_search& s, uint32_t zblock, const zblock_view& view) {
  if (dpp_crc16_get_idx(view.hash_arg) == DPP_CRC16_NO_IDX) {
    QLIX_COMM_PRINT("zblock %u: left out, it has no polynomial 0x%04x\n", zblock, view.hash_arg);
    return QLIX_COMM_OK;
  }
  const uint32_t crc = dpp_crc16_table_lookup(s.crc_key, s.key.key_len, view.hash_arg) & CRC16_MASK;
  for (uint32_t cell = 0; cell < DPP_SE_ZCELL_IN_BLOCK && !s.found; ++cell) {
    if (!view.cell[cell]) {
      continue;
    }
    const uint32_t index = crc >> cell & ITEM_MASK;
    uint32_t words[SE_ITEM_WORDS] = {};
    QLIX_COMM_CALL(dpp_se_zcell_read, s.dev_id, zblock, cell, index, words);
    uint8_t item[DPP_SE_ITEM_BYTES];
    dpp_se_words_to_bytes(words, SE_ITEM_WORDS, item);
    QLIX_COMM_PRINT("zblock %u, zcell %u: polynomial 0x%04x, crc 0x%04x, item 0x%03x", zblock, cell, view.hash_arg, crc,
                    index);
    place_judge(s, item);
  }
  return QLIX_COMM_OK;
}

uint32_t zreg_search(hash_search& s, uint32_t zblock) {
  uint32_t words[SE_ITEM_WORDS] = {};
  QLIX_COMM_CHECK_DEV_RC(s.dev_id,
                         dpp_reg_words_read(s.dev_id, dpp_regs::zblock_zreg::NUMBER, zblock / DPP_SE_ZBLOCK_IN_GROUP,
                                            zblock % DPP_SE_ZBLOCK_IN_GROUP, words),
                         "dpp_reg_read");
  uint8_t item[DPP_SE_ITEM_BYTES];
  dpp_se_words_to_bytes(words, SE_ITEM_WORDS, item);
  QLIX_COMM_PRINT("zblock %u, zreg", zblock);
  place_judge(s, item);
  return QLIX_COMM_OK;
}

// All zcells come before the first overflow register.
uint32_t zblocks_search(hash_search& s) {
  for (const bool registers : {false, true}) {
    for (uint32_t zblock = 0; zblock < DPP_SE_ZBLOCK_NUM && !s.found; ++zblock) {
      zblock_view view = {};
      QLIX_COMM_CALL(zblock_get, s, zblock, view);
      if (!view.mine) {
        continue;
      }
      QLIX_COMM_PASS(registers ? zreg_search(s, zblock) : zcells_search(s, zblock, view));
    }
  }
  return QLIX_COMM_OK;
}

uint32_t key_read(uint32_t dev_id, uint8_t* bytes) {
  uint32_t words[KEY_WORDS] = {};
  for (uint32_t i = 0; i < KEY_WORDS; ++i) {
    QLIX_COMM_CALL(dpp_reg_read32, dev_id, dpp_regs::se_hash_key_data::NUMBER, 0, i, &words[i]);
  }
  dpp_se_words_to_bytes(words, KEY_WORDS, bytes);
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t diag_dpp_se_hash_key_data(uint32_t dev_id, uint32_t first_word, uint32_t word0, uint32_t word1, uint32_t word2,
                                   uint32_t word3, uint32_t word4, uint32_t word5, uint32_t word6, uint32_t word7,
                                   uint32_t word8, uint32_t word9) {
  const uint32_t words[KEY_ARG_WORDS] = {word0, word1, word2, word3, word4, word5, word6, word7, word8, word9};
  for (uint32_t i = 0; i < KEY_ARG_WORDS && first_word + i < KEY_WORDS; ++i) {
    QLIX_COMM_CALL(dpp_reg_write32_bymn, dev_id, dpp_regs::se_hash_key_data::NUMBER, 0, first_word + i, words[i]);
  }
  uint8_t bytes[4 * KEY_WORDS] = {};
  QLIX_COMM_CALL(key_read, dev_id, bytes);
  se_bytes_print("key", bytes, sizeof bytes);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_se_hash_search(uint32_t dev_id, uint32_t hash_id, uint32_t table_id, uint32_t key_len,
                                 uint32_t rst_len) {
  DPP_REG_READ(dpp_regs::se_hash_tbl_cfg, cfg, dev_id, hash_id, table_id);
  hash_search s = {};
  s.dev_id = dev_id;
  s.key = {hash_id, table_id, s.key_bytes, key_len != 0 ? key_len : cfg.key_len,
           rst_len != 0 ? rst_len : 4u << cfg.rsp_mode};
  // A table that was never set up has a key length of 0.
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, s.key.key_len, 1, KEY_LEN_MAX);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, s.key.rst_len, 0, KEY_LEN_MAX - s.key.key_len);
  QLIX_COMM_CALL(key_read, dev_id, s.key_bytes);
  QLIX_COMM_CALL(dpp_hash_set_crc_key, s.key_bytes, s.key.key_len, s.crc_key);
  QLIX_COMM_PRINT("hash_id %u, table_id %u, key of %u bytes, result of %u bytes\n", hash_id, table_id, s.key.key_len,
                  s.key.rst_len);
  se_bytes_print("key", s.key_bytes, s.key.key_len);
  se_bytes_print("checksum input", s.crc_key, s.key.key_len);
  QLIX_COMM_CALL(ddr_search, s);
  QLIX_COMM_CALL(zblocks_search, s);
  if (!s.found) {
    QLIX_COMM_PRINT("not found\n");
  }
  return QLIX_COMM_OK;
}
