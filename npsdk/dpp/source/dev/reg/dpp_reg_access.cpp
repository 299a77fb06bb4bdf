#include "dpp_reg/dpp_reg_access.h"

#include "dpp_chip/dpp_dev.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_reg/dpp_window.h"
#include "dpp_reg_table.h"

namespace {

constexpr uint32_t SE_ALG_BASE = 0x280000;
constexpr uint32_t TM_ADDR_BITS = 16;

template <typename Command>
constexpr dpp_window_for<Command> traced(dpp_window_for<Command> window, const char* name) {
  window.traced = name;
  window.reversed = true;  // of one word alike
  window.write_waits = false;
  window.timeout = DPP_RC_REG_WINDOW_TIMEOUT;
  return window;
}

constexpr auto SE_ALG_WINDOW =
    dpp_window_of<dpp_regs::se_alg_ind_cmd, dpp_regs::se_alg_ind_status, dpp_regs::se_alg_ind_data>(
        DPP_DEV_MUTEX_T_SE_ALG);
constexpr auto TM_WINDOW =
    dpp_window_of<dpp_regs::etm_ind_cmd, dpp_regs::etm_ind_status, dpp_regs::etm_ind_data>(DPP_DEV_MUTEX_T_ETM);

// Bits above the window's are dropped with the fields' lengths.
dpp_regs::etm_ind_cmd tm_command(uint32_t addr) {
  dpp_regs::etm_ind_cmd command = {};
  command.mem_id = addr >> TM_ADDR_BITS;
  command.ind_addr = addr & ((1u << TM_ADDR_BITS) - 1);
  return command;
}

dpp_regs::se_alg_ind_cmd se_alg_command(uint32_t addr) {
  dpp_regs::se_alg_ind_cmd command = {};
  command.ind_addr = addr;
  return command;
}

}  // namespace

dpp_mutex* dpp_reg_window_mutex(uint32_t dev_id, uint32_t reg_no) {
  const uint32_t access = reg_no < DPP_REG_NUM ? dpp_reg_table[reg_no].access : DPP_REG_ACCESS_DIRECT;
  if (access != DPP_REG_ACCESS_SE_ALG && access != DPP_REG_ACCESS_TM) {
    return nullptr;
  }
  dpp_mutex* mutex = nullptr;
  static_cast<void>(dpp_dev_opr_mutex_get(
      dev_id, access == DPP_REG_ACCESS_TM ? DPP_DEV_MUTEX_T_ETM : DPP_DEV_MUTEX_T_SE_ALG, &mutex));
  return mutex;
}

uint32_t dpp_module_get_se_alg_baseaddr() {
  return SE_ALG_BASE;
}

uint32_t dpp_reg_block_write(uint32_t dev_id, const dpp_reg_info& info, uint32_t addr, const uint32_t* data) {
  switch (info.access) {
    case DPP_REG_ACCESS_SE_ALG:
      return dpp_se_alg_write(dev_id, addr, data);
    case DPP_REG_ACCESS_TM:
      return dpp_tm_write(dev_id, addr, data);
    default:
      return dpp_etm_write(dev_id, addr, data);
  }
}

uint32_t dpp_reg_block_read(uint32_t dev_id, const dpp_reg_info& info, uint32_t addr, uint32_t* data) {
  switch (info.access) {
    case DPP_REG_ACCESS_SE_ALG:
      return dpp_se_alg_read(dev_id, addr, data);
    case DPP_REG_ACCESS_TM:
      return dpp_tm_read(dev_id, addr, data);
    default:
      return dpp_etm_read(dev_id, addr, data);
  }
}

uint32_t dpp_write(uint32_t dev_id, uint32_t addr, const uint32_t* data) {
  return dpp_dev_write_channel(dev_id, addr, 1, data);
}

uint32_t dpp_read(uint32_t dev_id, uint32_t addr, uint32_t* data) {
  return dpp_dev_read_channel(dev_id, addr, 1, data);
}

uint32_t dpp_etm_write(uint32_t dev_id, uint32_t addr, const uint32_t* data) {
  return dpp_dev_write_channel(dev_id, addr, 1, data);
}

uint32_t dpp_etm_read(uint32_t dev_id, uint32_t addr, uint32_t* data) {
  return dpp_dev_read_channel(dev_id, addr, 1, data);
}

uint32_t dpp_tm_write(uint32_t dev_id, uint32_t addr, const uint32_t* data) {
  return dpp_window_write(dev_id, traced(TM_WINDOW, __func__), 0, tm_command(addr), {data, 1});
}

uint32_t dpp_tm_read(uint32_t dev_id, uint32_t addr, uint32_t* data) {
  return dpp_window_read(dev_id, traced(TM_WINDOW, __func__), 0, tm_command(addr), {data, 1});
}

uint32_t dpp_se_alg_write(uint32_t dev_id, uint32_t addr, const uint32_t* data) {
  return dpp_window_write(dev_id, traced(SE_ALG_WINDOW, __func__), 0, se_alg_command(addr), {data, DPP_SE_ALG_WORDS});
}

uint32_t dpp_se_alg_read(uint32_t dev_id, uint32_t addr, uint32_t* data) {
  return dpp_window_read(dev_id, traced(SE_ALG_WINDOW, __func__), 0, se_alg_command(addr), {data, DPP_SE_ALG_WORDS});
}
