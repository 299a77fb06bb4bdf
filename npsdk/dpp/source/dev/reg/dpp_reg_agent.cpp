// Agent mode: the management processor owns the chip, and the driver sees 4 KiB of each of five modules side by side in
// the BAR window.

#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_reg/dpp_reg.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t WINDOW_FIRST_MODULE = 13;
constexpr uint32_t WINDOW_LAST_MODULE = 17;
constexpr uint32_t SLIDING_MODULE = 15;
constexpr uint32_t SLIDING_SHIFT = 15;  // the window of module 15 moves in steps of 32 KiB
constexpr uint32_t PAGE_SHIFT = 12;
constexpr uint32_t BAR_WINDOW = 0x2000000;

struct module_window {
  uint32_t page;
  uint32_t base;
};
constexpr module_window MODULE_WINDOWS[] = {
    {0, 0x2000000}, {1, 0x202000}, {2, 0x8c000}, {8, 0x280000}, {9, 0x310000},
};
static_assert(sizeof MODULE_WINDOWS / sizeof MODULE_WINDOWS[0] == WINDOW_LAST_MODULE - WINDOW_FIRST_MODULE + 1);

}  // namespace

bool dpp_4k_reg(uint32_t mod_no) {
  return mod_no >= WINDOW_FIRST_MODULE && mod_no <= WINDOW_LAST_MODULE;
}

uint32_t dpp_reg_addr_convert(uint32_t dev_id, uint32_t mod_no, uint32_t flag, uint32_t addr, uint32_t* converted) {
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_POINT(converted);
  *converted = addr;
  if (!dpp_dev_is_agent_mode(dev_id) || flag == DPP_REG_FLAG_NO_CONVERT || !dpp_4k_reg(mod_no)) {
    return QLIX_COMM_OK;
  }
  const dpp_dev_cfg* dev = dpp_dev_cfg_get(dev_id);
  if (dev != nullptr && dev->access_type == DPP_DEV_ACCESS_TYPE_RISCV) {
    return QLIX_COMM_OK;
  }
  module_window window = MODULE_WINDOWS[mod_no - WINDOW_FIRST_MODULE];
  if (mod_no == SLIDING_MODULE) {
    const uint32_t steps = (addr - window.base) >> SLIDING_SHIFT;
    window.page += steps;
    window.base += steps << SLIDING_SHIFT;
  }
  const uint32_t bar_addr = (window.page << PAGE_SHIFT) + addr + BAR_WINDOW;
  if (bar_addr > window.base) {
    *converted = bar_addr - window.base;
  }
  return QLIX_COMM_OK;
}
