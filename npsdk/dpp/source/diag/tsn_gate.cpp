// Gate lists of the time-sensitive ports.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t GCL_MAX = 64;

}  // namespace

uint32_t diag_dpp_tsn_port_gcl_prt(uint32_t dev_id, uint32_t port) {
  DPP_REG_READ(dpp_regs::tsn_port_gcl_num, list, dev_id, 0, port);
  QLIX_COMM_PRINT("port_id-%03u gcl_num: %u\n", port, list.gcl_num);
  // The field can say more than the list holds.
  for (uint32_t entry = 0; entry < list.gcl_num && entry < GCL_MAX; ++entry) {
    DPP_REG_READ(dpp_regs::tsn_port_gcl, gate, dev_id, port, entry);
    QLIX_COMM_PRINT("gcl-%03u gate_value: 0x%02x gate_interval: %u\n", entry, gate.gate_value, gate.gate_interval);
  }
  return QLIX_COMM_OK;
}
