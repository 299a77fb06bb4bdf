// Gate lists of the time-sensitive ports.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_no.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t gcl_max = 64;

}  // namespace

uint32_t diag_dpp_tsn_port_gcl_prt(uint32_t dev_id, uint32_t port) {
  uint32_t num = 0;
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_read(dev_id, DPP_REG_TSN_PORT_GCL_NUM, 0, port, &num), "dpp_reg_read");
  QLIX_COMM_PRINT("port_id-%03u gcl_num: %u\n", port, num);
  // The field can say more than the list holds.
  for (uint32_t entry = 0; entry < num && entry < gcl_max; ++entry) {
    uint32_t gate[2] = {};
    QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_read(dev_id, DPP_REG_TSN_PORT_GCL, port, entry, gate), "dpp_reg_read");
    QLIX_COMM_PRINT("gcl-%03u gate_value: 0x%02x gate_interval: %u\n", entry, gate[DPP_FIELD_TSN_PORT_GCL_GATE_VALUE],
                    gate[DPP_FIELD_TSN_PORT_GCL_GATE_INTERVAL]);
  }
  return QLIX_COMM_OK;
}
