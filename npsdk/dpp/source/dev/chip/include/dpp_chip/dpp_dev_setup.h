// The two ways in which a device is set up.
#pragma once

#include <cstdint>

#include "dpp_chip/dpp_dev.h"

inline constexpr uint32_t DPP_INIT_FLAG_ACCESS_RISCV = 0x1;  ///< access type 1 in place of 0
inline constexpr uint32_t DPP_INIT_FLAG_AGENT = 0x400;       ///< agent mode

/// What dpp_base_soft_init needs to know of a device. Null hooks take the defaults.
struct dpp_sys_init_ctrl {
  uint32_t device_type;
  uint32_t flags;
  uint64_t pcie_vir_baddr;
  uint64_t riscv_vir_baddr;
  uint64_t dma_vir_baddr;
  uint64_t dma_phy_baddr;
  dpp_dev_write_fun p_pcie_write_fun;
  dpp_dev_read_fun p_pcie_read_fun;
  dpp_dev_write_fun p_riscv_write_fun;
  dpp_dev_read_fun p_riscv_read_fun;
};

/// Starts the device manager when it is not running yet and adds the device. Touches no hardware for device type 2 and
/// above.
uint32_t dpp_base_soft_init(uint32_t dev_id, const dpp_sys_init_ctrl* init);

/// A function of the card whose BAR 0 is mapped in this process.
struct dpp_host_np_info {
  uint64_t bar_vir_addr;   ///< where BAR 0 is mapped
  uint64_t bar_size;       ///< mapped bytes; must hold the compatibility records
  uint32_t np_bar_offset;  ///< byte offset of the register window in the BAR
  uint32_t vport;
};

/// Sets a device up on a mapped BAR in agent mode: window, vport, agent, firmware compatibility. DPP_RC_DEV_FW_MISMATCH
/// when the firmware publishes an interface of another generation.
uint32_t dpp_host_np_init(uint32_t dev_id, const dpp_host_np_info* info);

/// Where register 0 lies for a window at `np_bar_offset` of a BAR mapped at `bar_vir_addr`; 0 when the window would
/// begin below address 0.
uint64_t dpp_dev_np_addr_calc(uint64_t bar_vir_addr, uint32_t np_bar_offset);
uint64_t dpp_dev_agent_addr_calc(uint64_t bar_vir_addr);
