#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_ind.h"
#include "dpp_diag/dpp_stat.h"
#include "dpp_reg/dpp_reg_no.h"
#include "qlix_comm/check.h"

namespace {

constexpr dpp_ind_window stat_window = {DPP_DEV_MUTEX_T_STAT, DPP_REG_STAT_CPU_IND_CMD, DPP_REG_STAT_CPU_IND_STATUS,
                                        DPP_REG_STAT_CPU_IND_DATA};
constexpr uint32_t cmd_fields = 4;

void command_fill(uint32_t* cmd, uint32_t rd_mode, uint32_t index, uint32_t clr_mode) {
  cmd[DPP_FIELD_STAT_CPU_IND_CMD_IND_RD_CLR] = clr_mode;
  cmd[DPP_FIELD_STAT_CPU_IND_CMD_IND_WIDTH] = rd_mode;
  cmd[DPP_FIELD_STAT_CPU_IND_CMD_IND_ADDR] = index;
}

uint32_t words_of(uint32_t rd_mode) {
  return rd_mode == DPP_STAT_WIDTH_64 ? 2 : 4;
}

}  // namespace

uint32_t dpp_stat_ppu_cnt_get(uint32_t dev_id, uint32_t rd_mode, uint32_t index, uint32_t clr_mode, uint32_t* data) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, rd_mode, DPP_STAT_WIDTH_64, DPP_STAT_WIDTH_128);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, index, 0, DPP_STAT_INDEX_MAX);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, clr_mode, 0, 1);
  QLIX_COMM_CHECK_POINT(data);
  uint32_t cmd[cmd_fields] = {};
  command_fill(cmd, rd_mode, index, clr_mode);
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_ind_read(dev_id, stat_window, 0, cmd, data, words_of(rd_mode)), "dpp_ind_read");
  return QLIX_COMM_OK;
}

uint32_t dpp_stat_ppu_cnt_set(uint32_t dev_id, uint32_t rd_mode, uint32_t index, const uint32_t* data) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, rd_mode, DPP_STAT_WIDTH_64, DPP_STAT_WIDTH_128);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, index, 0, DPP_STAT_INDEX_MAX);
  QLIX_COMM_CHECK_POINT(data);
  uint32_t cmd[cmd_fields] = {};
  command_fill(cmd, rd_mode, index, 0);
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_ind_write(dev_id, stat_window, 0, cmd, data, words_of(rd_mode)), "dpp_ind_write");
  return QLIX_COMM_OK;
}
