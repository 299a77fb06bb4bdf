#include "dpp_chip/dpp_dev_setup.h"

#include <algorithm>

#include "dpp_chip/dpp_dev_value.h"
#include "dpp_dev_internal.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint64_t NP_WINDOW_START = 0x2000000;  // first register address that the BAR window shows
constexpr uint64_t AGENT_OFFSET = 0x2000;

// Firmware records in the BAR: eight bytes each, byte 0 the record number + 1, then major and the two minor numbers.
constexpr uint64_t FW_COMPAT_OFFSET = 0x5400;
constexpr uint64_t FW_COMPAT_SIZE = 8;
constexpr uint64_t FW_COMPAT_NP = 3;
constexpr uint64_t FW_FEATURE_OFFSET = 0x1004;
constexpr uint64_t FW_RECORDS_END = FW_COMPAT_OFFSET + FW_COMPAT_SIZE * 10;

// The interface that this driver speaks.
constexpr uint32_t SDK_MAJOR = 0;
constexpr uint32_t SDK_FW_MINOR = 0;
constexpr uint32_t SDK_DRV_MINOR = 0;

uint32_t fw_compat_check(uint32_t dev_id) {
  uint64_t addr = 0;
  QLIX_COMM_CALL(dpp_dev_fw_compat_addr_get, dev_id, &addr);
  const uint32_t record = dpp_pci_read32(addr + FW_COMPAT_NP * FW_COMPAT_SIZE);
  const uint32_t item = record & 0xFF;
  const uint32_t major = record >> 8 & 0xFF;
  const uint32_t fw_minor = record >> 16 & 0xFF;
  const uint32_t drv_minor = record >> 24;
  if (item != FW_COMPAT_NP + 1 || major != SDK_MAJOR || fw_minor < SDK_FW_MINOR || drv_minor > SDK_DRV_MINOR) {
    QLIX_COMM_TRACE_ERROR("sdk version %u.%u.%u is not compatible with firmware item %u version %u.%u.%u\n", SDK_MAJOR,
                          SDK_FW_MINOR, SDK_DRV_MINOR, item, major, fw_minor, drv_minor);
    return DPP_RC_DEV_FW_MISMATCH;
  }
  return QLIX_COMM_OK;
}

uint32_t host_values_set(uint32_t dev_id, const dpp_host_np_info& info) {
  QLIX_COMM_CALL(dpp_dev_np_bar_offset_set, dev_id, info.np_bar_offset);
  QLIX_COMM_CALL(dpp_dev_vport_set, dev_id, info.vport);
  uint32_t ep_no = 0;
  QLIX_COMM_CALL(dpp_dev_ep_no_get, dev_id, &ep_no);
  const uint64_t agent_addr = dpp_dev_agent_addr_calc(info.bar_vir_addr);
  QLIX_COMM_CALL(dpp_dev_agent_addr_set, dev_id, agent_addr);
  QLIX_COMM_CALL(dpp_dev_fw_compat_addr_set, dev_id, info.bar_vir_addr + FW_COMPAT_OFFSET);
  return QLIX_COMM_CALLED(dpp_dev_fw_feature_addr_set, dev_id, info.bar_vir_addr + FW_FEATURE_OFFSET);
}

}  // namespace

uint64_t dpp_dev_np_addr_calc(uint64_t bar_vir_addr, uint32_t np_bar_offset) {
  const uint64_t window = bar_vir_addr + np_bar_offset;
  const uint64_t np_addr = std::max(window, NP_WINDOW_START) - NP_WINDOW_START;
  QLIX_COMM_PRINT("np_addr:0x%llx,pcie_vir_baddr=0x%llx,np_bar_offset=0x%x\n", static_cast<unsigned long long>(np_addr),
                  static_cast<unsigned long long>(bar_vir_addr), np_bar_offset);
  return np_addr;
}

uint64_t dpp_dev_agent_addr_calc(uint64_t bar_vir_addr) {
  return bar_vir_addr + AGENT_OFFSET;
}

uint32_t dpp_base_soft_init(uint32_t dev_id, const dpp_sys_init_ctrl* init) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_POINT(init);
  if (!dpp_dev_mgr_is_init()) {
    QLIX_COMM_CALL(dpp_dev_init);
  }
  const uint32_t agent = (init->flags & DPP_INIT_FLAG_AGENT) != 0 ? 1 : 0;
  const uint32_t access_type =
      (init->flags & DPP_INIT_FLAG_ACCESS_RISCV) != 0 ? DPP_DEV_ACCESS_TYPE_RISCV : DPP_DEV_ACCESS_TYPE_PCIE;
  QLIX_COMM_CALL(dpp_dev_add, dev_id, init->device_type, access_type, init->pcie_vir_baddr, init->riscv_vir_baddr,
                 init->dma_vir_baddr, init->dma_phy_baddr, init->p_pcie_write_fun, init->p_pcie_read_fun,
                 init->p_riscv_write_fun, init->p_riscv_read_fun);
  QLIX_COMM_CALL(dpp_dev_agent_status_set, dev_id, agent);
  return dpp_dev_init_flag_set(dev_id, 1);
}

uint32_t dpp_host_np_init(uint32_t dev_id, const dpp_host_np_info* info) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_POINT(info);
  if (info->bar_vir_addr == 0) {
    return qlix_comm_detail::report_null(QLIX_COMM_HERE);
  }
  if (info->bar_size < FW_RECORDS_END) {
    QLIX_COMM_TRACE_ERROR("BAR of 0x%llx bytes ends before the firmware records\n",
                          static_cast<unsigned long long>(info->bar_size));
    return QLIX_COMM_OUT_OF_RANGE;
  }
  const dpp_sys_init_ctrl init = {
      .device_type = DPP_DEV_TYPE_CHIP,
      .flags = DPP_INIT_FLAG_AGENT,
      .pcie_vir_baddr = dpp_dev_np_addr_calc(info->bar_vir_addr, info->np_bar_offset),
  };
  QLIX_COMM_CALL(dpp_base_soft_init, dev_id, &init);
  QLIX_COMM_CHECK_RC(host_values_set(dev_id, *info), "dpp_host_values_set");
  QLIX_COMM_CHECK_RC(fw_compat_check(dev_id), "dpp_fw_compat_check");
  return dpp_dev_fw_bar_msg_num_set(dev_id, 0);
}
