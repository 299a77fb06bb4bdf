#include "dpp_memory/dpp_stat.h"

#include "dpp_chip/dpp_dev.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_reg/dpp_window.h"
#include "qlix_comm/check.h"

namespace {

constexpr auto STAT_WINDOW =
    dpp_window_of<dpp_regs::stat_cpu_ind_cmd, dpp_regs::stat_cpu_ind_status, dpp_regs::stat_cpu_ind_data>(
        DPP_DEV_MUTEX_T_STAT);

dpp_regs::stat_cpu_ind_cmd command_of(uint32_t rd_mode, uint32_t index, uint32_t clr_mode) {
  dpp_regs::stat_cpu_ind_cmd cmd = {};
  cmd.ind_rd_clr = clr_mode;
  cmd.ind_width = rd_mode;
  cmd.ind_addr = index;
  return cmd;
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
  return QLIX_COMM_CALLED(dpp_window_read, dev_id, STAT_WINDOW, 0, command_of(rd_mode, index, clr_mode),
                          {data, words_of(rd_mode)});
}

uint32_t dpp_stat_ppu_cnt_set(uint32_t dev_id, uint32_t rd_mode, uint32_t index, const uint32_t* data) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, rd_mode, DPP_STAT_WIDTH_64, DPP_STAT_WIDTH_128);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, index, 0, DPP_STAT_INDEX_MAX);
  QLIX_COMM_CHECK_POINT(data);
  return QLIX_COMM_CALLED(dpp_window_write, dev_id, STAT_WINDOW, 0, command_of(rd_mode, index, 0),
                          {data, words_of(rd_mode)});
}
