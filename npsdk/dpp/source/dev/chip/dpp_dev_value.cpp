#include "dpp_chip/dpp_dev_value.h"

#include "dpp_dev_internal.h"

constinit std::atomic<uint32_t> dpp_dev_agents{0};  // a bit for each device

namespace {

constexpr uint32_t VPORT_EP_SHIFT = 12;
constexpr uint32_t VPORT_EP_MASK = 7;
constexpr uint32_t SE_RES_SETS = 2;

// Set while a device is initialised, read by every thread that uses it.
struct device_values {
  std::atomic<uint32_t> np_bar_offset;
  std::atomic<uint64_t> agent_addr;
  std::atomic<uint32_t> agent_flag;
  std::atomic<uint32_t> vport;
  std::atomic<uint32_t> fw_bar_msg_num;
  std::atomic<uint32_t> pcie_bdf;
  std::atomic<uint32_t> version;
  std::atomic<uint32_t> init_flag;
  std::atomic<uint64_t> fw_compat_addr;
  std::atomic<uint64_t> fw_feature_addr;
  std::atomic<void*> se_res[SE_RES_SETS];
};
constinit device_values values[DPP_DEV_MAX];

template <typename T>
uint32_t value_set(uint32_t dev_id, std::atomic<T> device_values::*member, T value) {
  DPP_DEV_CHECK_ID(dev_id);
  values[dev_id].*member = value;
  return QLIX_COMM_OK;
}

template <typename T>
uint32_t value_get(uint32_t dev_id, const std::atomic<T> device_values::*member, T* value) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_POINT(value);
  *value = values[dev_id].*member;
  return QLIX_COMM_OK;
}

}  // namespace

/// Defines the setter and the getter of one value.
// NOLINTBEGIN(bugprone-macro-parentheses): a type takes none
#define DEV_VALUE(type, member, set, get)                    \
  uint32_t set(uint32_t dev_id, type value) {                \
    return value_set(dev_id, &device_values::member, value); \
  }                                                          \
  uint32_t get(uint32_t dev_id, type* value) {               \
    return value_get(dev_id, &device_values::member, value); \
  }
// NOLINTEND(bugprone-macro-parentheses)

DEV_VALUE(uint32_t, np_bar_offset, dpp_dev_np_bar_offset_set, dpp_dev_np_bar_offset_get)
DEV_VALUE(uint64_t, agent_addr, dpp_dev_agent_addr_set, dpp_dev_agent_addr_get)
DEV_VALUE(uint32_t, vport, dpp_dev_vport_set, dpp_dev_vport_get)
DEV_VALUE(uint32_t, fw_bar_msg_num, dpp_dev_fw_bar_msg_num_set, dpp_dev_fw_bar_msg_num_get)
DEV_VALUE(uint32_t, pcie_bdf, dpp_dev_pcie_bdf_set, dpp_dev_pcie_bdf_get)
DEV_VALUE(uint32_t, version, dpp_dev_version_set, dpp_dev_version_get)
DEV_VALUE(uint32_t, init_flag, dpp_dev_init_flag_set, dpp_dev_init_flag_get)
DEV_VALUE(uint64_t, fw_compat_addr, dpp_dev_fw_compat_addr_set, dpp_dev_fw_compat_addr_get)
DEV_VALUE(uint64_t, fw_feature_addr, dpp_dev_fw_feature_addr_set, dpp_dev_fw_feature_addr_get)

uint32_t dpp_dev_agent_status_set(uint32_t dev_id, uint32_t agent_flag) {
  QLIX_COMM_PASS(value_set(dev_id, &device_values::agent_flag, agent_flag));
  agent_flag != 0 ? dpp_dev_agents.fetch_or(1u << dev_id) : dpp_dev_agents.fetch_and(~(1u << dev_id));
  return QLIX_COMM_OK;
}

uint32_t dpp_dev_get_dev_agent_flag(uint32_t dev_id, uint32_t* agent_flag) {
  return value_get(dev_id, &device_values::agent_flag, agent_flag);
}

uint32_t dpp_dev_ep_no_get(uint32_t dev_id, uint32_t* ep_no) {
  uint32_t vport = 0;
  QLIX_COMM_PASS(dpp_dev_vport_get(dev_id, &vport));
  QLIX_COMM_CHECK_POINT(ep_no);
  *ep_no = vport >> VPORT_EP_SHIFT & VPORT_EP_MASK;
  return QLIX_COMM_OK;
}

uint32_t dpp_dev_set_se_res_ptr(uint32_t dev_id, uint32_t set, void* res) {
  DPP_DEV_CHECK_ID(dev_id);
  QLIX_COMM_CHECK_INDEX_UPPER(set, SE_RES_SETS - 1);
  values[dev_id].se_res[set] = res;
  return QLIX_COMM_OK;
}

void* dpp_dev_get_se_res_ptr(uint32_t dev_id, uint32_t set) {
  return dev_id < DPP_DEV_MAX && set < SE_RES_SETS ? values[dev_id].se_res[set].load() : nullptr;
}
