#include "dpp_memory/dpp_ppu.h"

#include "dpp_chip/dpp_dev.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_reg/dpp_window.h"
#include "qlix_comm/check.h"

namespace {

constexpr auto CLUSTER_WINDOW =
    dpp_window_of<dpp_regs::ppu_cls_ind_cmd, dpp_regs::ppu_cls_ind_status, dpp_regs::ppu_cls_ind_data>(
        DPP_DEV_MUTEX_T_PPU);

uint32_t place_check(uint32_t dev_id, uint32_t cluster, uint32_t me_id, uint32_t addr, const uint32_t* words) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, cluster, 0, DPP_PPU_CLUSTER_NUM - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, me_id, 0, DPP_PPU_ME_NUM - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, addr, 0, DPP_PPU_ADDR_MAX);
  QLIX_COMM_CHECK_POINT(words);
  return QLIX_COMM_OK;
}

dpp_regs::ppu_cls_ind_cmd command_of(dpp_ppu_memory memory, uint32_t me_id, uint32_t addr) {
  dpp_regs::ppu_cls_ind_cmd cmd = {};
  cmd.mem_id = memory;
  cmd.me_id = me_id;
  cmd.ind_addr = addr;
  return cmd;
}

}  // namespace

uint32_t dpp_ppu_mem_get(uint32_t dev_id, uint32_t cluster, dpp_ppu_memory memory, uint32_t me_id, uint32_t addr,
                         uint32_t* words) {
  QLIX_COMM_PASS(place_check(dev_id, cluster, me_id, addr, words));
  return QLIX_COMM_CALLED(dpp_window_read, dev_id, CLUSTER_WINDOW, cluster, command_of(memory, me_id, addr),
                          {words, DPP_PPU_WORDS});
}

uint32_t dpp_ppu_mem_set(uint32_t dev_id, uint32_t cluster, dpp_ppu_memory memory, uint32_t me_id, uint32_t addr,
                         const uint32_t* words) {
  QLIX_COMM_PASS(place_check(dev_id, cluster, me_id, addr, words));
  return QLIX_COMM_CALLED(dpp_window_write, dev_id, CLUSTER_WINDOW, cluster, command_of(memory, me_id, addr),
                          {words, DPP_PPU_WORDS});
}
