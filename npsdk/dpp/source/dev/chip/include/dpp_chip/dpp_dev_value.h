// Values that stand beside the device record. Setters return 0 or 0x1205 for a device number above 15, getters also
// 0x1201 for a null pointer. A value that was never set reads 0.
#pragma once

#include <atomic>
#include <cstdint>

#include "dpp_chip/dpp_dev.h"

/// Byte offset of the network processor's registers in BAR 0.
uint32_t dpp_dev_np_bar_offset_set(uint32_t dev_id, uint32_t offset);
uint32_t dpp_dev_np_bar_offset_get(uint32_t dev_id, uint32_t* offset);

/// Virtual address of the mailbox to the management processor, which acts for the driver in agent mode.
uint32_t dpp_dev_agent_addr_set(uint32_t dev_id, uint64_t addr);
uint32_t dpp_dev_agent_addr_get(uint32_t dev_id, uint64_t* addr);
/// 1: agent mode, only the 4 KiB windows of modules 13 to 17 are reached directly.
uint32_t dpp_dev_agent_status_set(uint32_t dev_id, uint32_t agent_flag);
uint32_t dpp_dev_get_dev_agent_flag(uint32_t dev_id, uint32_t* agent_flag);
/// The same as an answer, for paths that have checked the device number; false when it is above 15.
inline bool dpp_dev_is_agent_mode(uint32_t dev_id) {
  extern std::atomic<uint32_t> dpp_dev_agents;
  return dev_id < DPP_DEV_MAX && (dpp_dev_agents.load(std::memory_order_relaxed) >> dev_id & 1) != 0;
}

/// The virtual port by which the driver is known to the card: bit 15 zero, bits 14-12 endpoint, bit 11 set for a
/// virtual function, bits 10-8 physical function, bits 7-0 virtual function.
uint32_t dpp_dev_vport_set(uint32_t dev_id, uint32_t vport);
uint32_t dpp_dev_vport_get(uint32_t dev_id, uint32_t* vport);
/// The endpoint (0 to 7) of the vport.
uint32_t dpp_dev_ep_no_get(uint32_t dev_id, uint32_t* ep_no);

/// Messages sent to the firmware through the BAR mailbox since the device was set up.
uint32_t dpp_dev_fw_bar_msg_num_set(uint32_t dev_id, uint32_t num);
uint32_t dpp_dev_fw_bar_msg_num_get(uint32_t dev_id, uint32_t* num);

/// PCIe bus (8 bits), device (5) and function (3) of the card's function.
uint32_t dpp_dev_pcie_bdf_set(uint32_t dev_id, uint32_t bdf);
uint32_t dpp_dev_pcie_bdf_get(uint32_t dev_id, uint32_t* bdf);
uint32_t dpp_dev_version_set(uint32_t dev_id, uint32_t version);
uint32_t dpp_dev_version_get(uint32_t dev_id, uint32_t* version);
uint32_t dpp_dev_init_flag_set(uint32_t dev_id, uint32_t flag);
uint32_t dpp_dev_init_flag_get(uint32_t dev_id, uint32_t* flag);

/// Virtual addresses of the firmware's compatibility records and feature words.
uint32_t dpp_dev_fw_compat_addr_set(uint32_t dev_id, uint64_t addr);
uint32_t dpp_dev_fw_compat_addr_get(uint32_t dev_id, uint64_t* addr);
uint32_t dpp_dev_fw_feature_addr_set(uint32_t dev_id, uint64_t addr);
uint32_t dpp_dev_fw_feature_addr_get(uint32_t dev_id, uint64_t* addr);

/// The software state of one of the two search-engine resource sets (0 or 1): a block that its table manager fills. The
/// driver only keeps the pointer.
uint32_t dpp_dev_set_se_res_ptr(uint32_t dev_id, uint32_t set, void* res);
/// Null when the device or the set does not exist or nothing was stored.
void* dpp_dev_get_se_res_ptr(uint32_t dev_id, uint32_t set);
