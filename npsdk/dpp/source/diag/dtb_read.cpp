// Table entries read through a queue of the queue engine, which must have been set up.
#include <algorithm>
#include <cstdio>

#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_dtb/dpp_dtb.h"
#include "dpp_dtb/dpp_dtb_dump.h"
#include "dpp_dtb/dpp_dtb_table.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t ROW_WORDS = 4;
constexpr uint32_t ITEM_WORDS = 16;
constexpr uint32_t ALG_REGISTER_BIT = 1u << 16;
constexpr uint32_t COUNTERS_IN_ROW = 2;
constexpr uint32_t STAT_INDEX_MAX = 0x3FFFFFF;
constexpr uint32_t DDR_ROW_NUM = 1u << 28;

// One line for each row of four words; entries of several rows number them.
void words_prt(const char* what, uint32_t place, const uint32_t* words, uint32_t word_num) {
  for (uint32_t i = 0; i < word_num; i += ROW_WORDS) {
    char row[16] = "";
    if (word_num > ROW_WORDS) {
      snprintf(row, sizeof row, "[%u]", i / ROW_WORDS);
    }
    QLIX_COMM_PRINT("%s-0x%05x%s: 0x%08x 0x%08x 0x%08x 0x%08x\n", what, place, row, words[i], words[i + 1],
                    words[i + 2], words[i + 3]);
  }
}

// The counters of the packet processor fill an area of eRAM and go on in DDR: how many lie in eRAM, and where.
uint32_t stat_area_get(uint32_t dev_id, uint32_t* row, uint32_t* counter_num) {
  DPP_REG_READ(dpp_regs::stat_ppu_eram_baddr, first, dev_id, 0, 0);
  DPP_REG_READ(dpp_regs::stat_ppu_eram_depth, depth, dev_id, 0, 0);
  *row = first.ppu_eram_baddr;
  *counter_num = depth.ppu_eram_depth * COUNTERS_IN_ROW;
  return QLIX_COMM_OK;
}

void counter_prt(uint32_t index, const uint32_t* row) {
  const uint32_t* pair = &row[index % COUNTERS_IN_ROW == 0 ? 0 : 2];
  QLIX_COMM_PRINT("stat index[0x%08x] value[0x%08x,0x%08x]\n", index, pair[0], pair[1]);
}

uint32_t zcam_item_prt(uint32_t dev_id, uint32_t queue_id, uint32_t ram_reg_flag, uint32_t place) {
  uint32_t words[ITEM_WORDS] = {};
  QLIX_COMM_CALL(dpp_dtb_zcam_item_dump, dev_id, queue_id, ram_reg_flag, place, words);
  words_prt(ram_reg_flag != 0 ? "zcam" : "zblock_reg", place, words, ITEM_WORDS);
  return QLIX_COMM_OK;
}

}  // namespace

// `index` counts entries of 128 << rw_len bits.
uint32_t dpp_dtb_ddr_entry_prt(uint32_t dev_id, uint32_t queue_id, uint32_t rw_len, uint32_t baddr, uint32_t index) {
  uint32_t words[ITEM_WORDS] = {};
  QLIX_COMM_CALL(dpp_dtb_smmu1_row_dump, dev_id, queue_id, rw_len, baddr, index << rw_len, words);
  words_prt("smmu1", index, words, ROW_WORDS << rw_len);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_dtb_smmu0_read_128(uint32_t dev_id, uint32_t queue_id, uint32_t index) {
  uint32_t words[ROW_WORDS] = {};
  QLIX_COMM_CALL(dpp_dtb_smmu0_row_dump, dev_id, queue_id, index, words);
  words_prt("smmu0", index, words, ROW_WORDS);
  return QLIX_COMM_OK;
}

// ddr_mode is the width that is read (1: 128 bits, 2: 256, 3: 512), width_mode that of the table's entries (1: 256, 2:
// 512); `offset` is the byte in the entry.
uint32_t diag_dpp_dtb_ddr_dir_table_read(uint32_t dev_id, uint32_t queue_id, uint32_t baddr, uint32_t ddr_mode,
                                         uint32_t width_mode, uint32_t index, uint32_t offset) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, width_mode, std::max(1u, ddr_mode - 1), 2);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, index, 0, DPP_DTB_DDR_ROW_MAX >> width_mode);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, offset, 0, (16u << width_mode) - 1);
  const uint32_t row = dpp_ddr_index_calc(index, width_mode, ddr_mode, offset);
  return QLIX_COMM_CALLED(dpp_dtb_ddr_entry_prt, dev_id, queue_id, ddr_mode - 1, baddr, row);
}

uint32_t diag_dpp_dtb_stat_smmu0_read(uint32_t dev_id, uint32_t queue_id, uint32_t index) {
  uint32_t base = 0;
  uint32_t counter_num = 0;
  QLIX_COMM_CALL(stat_area_get, dev_id, &base, &counter_num);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, counter_num, 1, UINT32_MAX);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, index, 0, counter_num - 1);
  uint32_t row[ROW_WORDS] = {};
  QLIX_COMM_CALL(dpp_dtb_smmu0_row_dump, dev_id, queue_id, base + index / COUNTERS_IN_ROW, row);
  counter_prt(index, row);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_dtb_stat_smmu1_read(uint32_t dev_id, uint32_t queue_id, uint32_t index) {
  uint32_t base = 0;
  uint32_t counter_num = 0;
  QLIX_COMM_CALL(stat_area_get, dev_id, &base, &counter_num);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, index, counter_num, STAT_INDEX_MAX);
  DPP_REG_READ(dpp_regs::stat_ppu_ddr_baddr, area, dev_id, 0, 0);
  base = area.ppu_ddr_baddr;
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, base, 0, DDR_ROW_NUM - 1);
  const uint32_t place = base + (index - counter_num) / COUNTERS_IN_ROW;
  uint32_t row[ROW_WORDS] = {};
  QLIX_COMM_CALL(dpp_dtb_smmu1_row_dump, dev_id, queue_id, 0, place / DPP_DTB_DDR_BASE_ROWS,
                 place % DPP_DTB_DDR_BASE_ROWS, row);
  counter_prt(index, row);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_dtb_se_alg_read512(uint32_t dev_id, uint32_t queue_id, uint32_t addr) {
  return QLIX_COMM_CALLED(zcam_item_prt, dev_id, queue_id, (addr & ALG_REGISTER_BIT) != 0 ? 0 : 1,
                          addr & ~ALG_REGISTER_BIT);
}

uint32_t diag_dpp_dtb_zcam_read(uint32_t dev_id, uint32_t queue_id, uint32_t zblock, uint32_t zcell, uint32_t index) {
  return QLIX_COMM_CALLED(zcam_item_prt, dev_id, queue_id, 1, zblock << 11 | zcell << 9 | index);
}

uint32_t diag_dpp_dtb_etcam_entry_read(uint32_t dev_id, uint32_t queue_id, uint32_t block, uint32_t row) {
  for (uint32_t mask = 0; mask <= 1; ++mask) {
    uint32_t words[DPP_DTB_ETCAM_WORDS] = {};
    uint32_t vbit = 0;
    QLIX_COMM_CALL(dpp_dtb_etcam_row_dump, dev_id, queue_id, block, row, mask, words, &vbit);
    if (mask == 0) {
      QLIX_COMM_PRINT("block-%u row-%03u vbit: 0x%02x\n", block, row, vbit);
    }
    words_prt(mask == 0 ? "data" : "mask", row, words, DPP_DTB_ETCAM_WORDS);
  }
  return QLIX_COMM_OK;
}
