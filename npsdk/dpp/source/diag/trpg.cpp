// Port totals.
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_trpg.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t PORT_MAX = 30;

template <typename Register>
uint32_t pkt_num_get(uint32_t dev_id, uint32_t port, uint32_t Register::*high, uint32_t Register::*low, uint64_t* num) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, port, 0, PORT_MAX);
  QLIX_COMM_CHECK_POINT(num);
  DPP_REG_READ(Register, halves, dev_id, 0, port);
  *num = uint64_t{halves.*high} << 32 | halves.*low;
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t dpp_trpg_rx_port_pkt_num_get(uint32_t dev_id, uint32_t port, uint64_t* num) {
  using counter = dpp_regs::trpg_rx_port_pkt_num;
  return pkt_num_get(dev_id, port, &counter::rx_pkt_num_h, &counter::rx_pkt_num_l, num);
}

uint32_t dpp_trpg_tx_port_pkt_num_get(uint32_t dev_id, uint32_t port, uint64_t* num) {
  using counter = dpp_regs::trpg_tx_port_pkt_num;
  return pkt_num_get(dev_id, port, &counter::tx_pkt_num_h, &counter::tx_pkt_num_l, num);
}

uint32_t diag_dpp_trpg_port_pkt_total_cnt_prt(uint32_t dev_id) {
  uint64_t rx_total = 0;
  uint64_t tx_total = 0;
  QLIX_COMM_PRINT("Panel_Port: 0~9, RDMA_Port: 16, VQM_Port: 24, DTP_Port: 25, DRS_Port: 26\n");
  for (const uint32_t port : DPP_TRPG_USED_PORTS) {
    uint64_t rx = 0;
    uint64_t tx = 0;
    QLIX_COMM_CALL(dpp_trpg_rx_port_pkt_num_get, dev_id, port, &rx);
    QLIX_COMM_CALL(dpp_trpg_tx_port_pkt_num_get, dev_id, port, &tx);
    QLIX_COMM_PRINT("PORT_NO: %u, Rx pkt num: %llu, Tx pkt num: %llu\n", port, static_cast<unsigned long long>(rx),
                    static_cast<unsigned long long>(tx));
    rx_total += rx;
    tx_total += tx;
  }
  QLIX_COMM_PRINT("Total rx pkt num: %llu, Total Tx pkt num: %llu\n", static_cast<unsigned long long>(rx_total),
                  static_cast<unsigned long long>(tx_total));
  return QLIX_COMM_OK;
}
