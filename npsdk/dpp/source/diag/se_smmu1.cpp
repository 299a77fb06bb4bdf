// DDR entries on the screen.
#include <algorithm>

#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_memory/dpp_se_mem.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"
#include "se_print.h"

namespace {

constexpr uint32_t BASE_LINES = 4;  // a direct table's base counts units of 512 bits
constexpr const char* DDR_LABELS[] = {"ddr128", "ddr256", "ddr512"};

uint32_t entries_print(uint32_t dev_id, uint32_t addr, uint32_t num, uint32_t mode) {
  for (uint32_t i = 0; i < num; ++i) {
    uint32_t words[DPP_SE_DDR_WORDS] = {};
    QLIX_COMM_CALL(dpp_se_smmu1_ind_read, dev_id, addr + i, mode, words);
    se_words_print(DDR_LABELS[mode], addr + i, words, 4u << mode);
  }
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t dpp_se_ddr_table_entry_prt(uint32_t dev_id, uint32_t table, uint32_t index, uint32_t mode) {
  DPP_REG_READ(dpp_regs::smmu1_dir_tbl_cfg, cfg, dev_id, 0, table);
  const uint32_t base = cfg.tbl_baddr;
  QLIX_COMM_PRINT("direct table %u: %s, width_mode %u, tbl_baddr 0x%07x\n", table,
                  cfg.tbl_valid != 0 ? "valid" : "not valid", cfg.width_mode, base);
  const uint64_t addr = (uint64_t{base} * BASE_LINES >> mode) + index;
  return entries_print(dev_id, static_cast<uint32_t>(std::min<uint64_t>(addr, UINT32_MAX)), 1, mode);
}

// A body of commands, so that their own names stand in the lines of their checks.
#define DDR_ENTRIES_PRINT(dev_id, addr, num, mode)                                  \
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, num, 0, (DPP_SE_DDR_LINES >> (mode)) - (addr)); \
  QLIX_COMM_CALL(entries_print, dev_id, addr, num, mode);                           \
  return QLIX_COMM_OK

uint32_t diag_dpp_se_smmu1_rd128_more(uint32_t dev_id, uint32_t addr, uint32_t num) {
  DDR_ENTRIES_PRINT(dev_id, addr, num, DPP_SE_DDR_128);
}

uint32_t diag_dpp_se_smmu1_rd256_more(uint32_t dev_id, uint32_t addr, uint32_t num) {
  DDR_ENTRIES_PRINT(dev_id, addr, num, DPP_SE_DDR_256);
}

uint32_t diag_dpp_se_smmu1_rd512_more(uint32_t dev_id, uint32_t addr, uint32_t num) {
  DDR_ENTRIES_PRINT(dev_id, addr, num, DPP_SE_DDR_512);
}
