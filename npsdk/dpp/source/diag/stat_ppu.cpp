// Statistics counters of the packet processor by index.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_memory/dpp_stat.h"
#include "qlix_comm/check.h"

uint32_t diag_dpp_stat_ppu_cnt_prt(uint32_t dev_id, uint32_t rd_mode, uint32_t index, uint32_t clr_mode) {
  uint32_t words[4] = {};
  QLIX_COMM_CALL(dpp_stat_ppu_cnt_get, dev_id, rd_mode, index, clr_mode, words);
  if (rd_mode == DPP_STAT_WIDTH_64) {
    QLIX_COMM_PRINT("stat index[0x%08x] value[0x%08x,0x%08x]\n", index, words[0], words[1]);
  } else {
    QLIX_COMM_PRINT("stat index[0x%08x] value[0x%08x,0x%08x,0x%08x,0x%08x]\n", index, words[0], words[1], words[2],
                    words[3]);
  }
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_stat_ppu_cnt_set(uint32_t dev_id, uint32_t index, uint32_t data_h, uint32_t data_l) {
  const uint32_t words[] = {data_h, data_l};
  return QLIX_COMM_CALLED(dpp_stat_ppu_cnt_set, dev_id, DPP_STAT_WIDTH_64, index, words);
}
