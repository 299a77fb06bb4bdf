#include "dpp_reg/dpp_reg_access.h"

#include "dpp_chip/dpp_dev.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_no.h"
#include "dpp_reg_table.h"
#include "dpp_window.h"

namespace {

constexpr uint32_t MODULE_SE4K = 16;
constexpr uint32_t SE_ALG_BASE = 0x280000;

constexpr dpp_window se_alg_window(const char* name) {
  return {
      .name = name,
      .mutex = DPP_DEV_MUTEX_T_SE_ALG,
      .mod_no = MODULE_SE4K,
      .status = SE_ALG_BASE,
      .command = SE_ALG_BASE + 4,
      .data = SE_ALG_BASE + 8,
      .words = DPP_SE_ALG_WORDS,
      .reversed = true,
      .addr_mask = 0x1FFFFF,
  };
}

dpp_window tm_window(const char* name) {
  return {
      .name = name,
      .mutex = DPP_DEV_MUTEX_T_ETM,
      .mod_no = dpp_reg_table[DPP_REG_ETM_IND_CMD].mod_no,
      .status = dpp_reg_table[DPP_REG_ETM_IND_STATUS].addr,
      .command = dpp_reg_table[DPP_REG_ETM_IND_CMD].addr,
      .data = dpp_reg_table[DPP_REG_ETM_IND_DATA].addr,
      .words = 1,
      .reversed = false,
      .addr_mask = 0xFFFFF,
  };
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
  return dpp_window_write(dev_id, tm_window(__func__), addr, data);
}

uint32_t dpp_tm_read(uint32_t dev_id, uint32_t addr, uint32_t* data) {
  return dpp_window_read(dev_id, tm_window(__func__), addr, data);
}

uint32_t dpp_se_alg_write(uint32_t dev_id, uint32_t addr, const uint32_t* data) {
  return dpp_window_write(dev_id, se_alg_window(__func__), addr, data);
}

uint32_t dpp_se_alg_read(uint32_t dev_id, uint32_t addr, uint32_t* data) {
  return dpp_window_read(dev_id, se_alg_window(__func__), addr, data);
}
