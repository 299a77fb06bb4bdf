// Print and log settings, and what the driver knows of a device.
#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_row_functions.h"
#include "qlix_comm/check.h"

uint32_t dpp_comm_print_level_set(uint32_t level) {
  qlix_comm_set_print_level(level);
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_comm_get_print_level() {
  QLIX_COMM_PRINT("get print level is %u\n", qlix_comm_get_print_level());
  return QLIX_COMM_OK;
}

/// Defines the commands that set a setting and that show it.
#define COMM_SETTING(name, line)                      \
  uint32_t diag_dpp_comm_set_##name(uint32_t value) { \
    qlix_comm_set_##name(value);                      \
    return diag_dpp_comm_get_##name();                \
  }                                                   \
  uint32_t diag_dpp_comm_get_##name() {               \
    QLIX_COMM_PRINT(line, qlix_comm_get_##name());    \
    return QLIX_COMM_OK;                              \
  }

COMM_SETTING(print_en, "print enable is %u\n")
COMM_SETTING(log_en, "log enable is %u\n")
COMM_SETTING(log_type, "log type is 0x%08x\n")

uint32_t diag_dpp_dev_prt(uint32_t dev_id) {
  const dpp_dev_cfg* dev = dpp_dev_cfg_get(dev_id);
  QLIX_COMM_CHECK_POINT(dev);
  const struct {
    const char* name;
    uint32_t (*get)(uint32_t, uint32_t*);
  } values[] = {{"access_type", dpp_dev_get_access_type},
                {"chip_version", dpp_dev_get_chip_version},
                {"np_bar_offset", dpp_dev_np_bar_offset_get},
                {"agent_flag", dpp_dev_get_dev_agent_flag},
                {"vport", dpp_dev_vport_get},
                {"fw_bar_msg_num", dpp_dev_fw_bar_msg_num_get},
                {"pcie_bdf", dpp_dev_pcie_bdf_get},
                {"version", dpp_dev_version_get},
                {"init_flag", dpp_dev_init_flag_get}};
  QLIX_COMM_PRINT("%-40s: 0x%08x\n", "dev_type", dev->dev_type);
  for (const auto& [name, get] : values) {
    uint32_t value = 0;
    QLIX_COMM_CHECK_DEV_RC(dev_id, get(dev_id, &value), name);
    QLIX_COMM_PRINT("%-40s: 0x%08x\n", name, value);
  }
  return QLIX_COMM_OK;
}
