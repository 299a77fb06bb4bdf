// Packet receive: the counters of a packet's way through the block.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_pktrx.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/check.h"

namespace {

// All counters are pairs: starts and ends of packets.
template <typename Register>
uint32_t pair_get(uint32_t dev_id, uint32_t port, uint32_t Register::*sop, uint32_t Register::*eop,
                  dpp_pktrx_sop_eop* cnt) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, port, 0, DPP_PKTRX_PORT_NUM - 1);
  QLIX_COMM_CHECK_POINT(cnt);
  DPP_REG_READ(Register, fields, dev_id, 0, port);
  *cnt = {fields.*sop, fields.*eop};
  return QLIX_COMM_OK;
}

}  // namespace

/// Defines the getters of a port's counters and of a total, whose fields begin with `field`.
#define PORT_PAIR(name, field)                                                                   \
  uint32_t dpp_pktrx_stat_##name##_get(uint32_t dev_id, uint32_t port, dpp_pktrx_sop_eop* cnt) { \
    using counters = dpp_regs::pktrx_stat_##name;                                                \
    return pair_get(dev_id, port, &counters::field##_sop_cnt, &counters::field##_eop_cnt, cnt);  \
  }
#define TOTAL_PAIR(name, field)                                                                          \
  uint32_t dpp_pktrx_stat_##name##_get(uint32_t dev_id, dpp_pktrx_sop_eop* cnt) {                        \
    using counters = dpp_regs::pktrx_stat_##name;                                                        \
    return pair_get(dev_id, 0, &counters::field##_total_sop_cnt, &counters::field##_total_eop_cnt, cnt); \
  }

PORT_PAIR(isch_i_port_cnt, isch_i)
PORT_PAIR(isch_o_port_cnt, isch_o)
PORT_PAIR(parser_port_cnt, parser_o)
TOTAL_PAIR(isch_o_cnt, isch_o)
TOTAL_PAIR(parser_cnt, parser_o)

uint32_t dpp_pktrx_udf_table_get(uint32_t dev_id, uint32_t index, uint32_t* words) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, index, 0, DPP_PKTRX_UDF_NUM - 1);
  QLIX_COMM_CHECK_POINT(words);
  DPP_REG_READ(dpp_regs::pktrx_udf_table, entry, dev_id, 0, index);
  words[0] = entry.udf_data_0;
  words[1] = entry.udf_data_1;
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_pktrx_port_cnt_prt(uint32_t dev_id, uint32_t port) {
  dpp_pktrx_sop_eop cnt = {};
  QLIX_COMM_CALL(dpp_pktrx_stat_isch_i_port_cnt_get, dev_id, port, &cnt);
  QLIX_COMM_PRINT("port_id-%03d   isch_i_sop: 0x%08x          isch_i_eop: 0x%08x\n", port, cnt.sop, cnt.eop);
  QLIX_COMM_CALL(dpp_pktrx_stat_isch_o_port_cnt_get, dev_id, port, &cnt);
  QLIX_COMM_PRINT("port_id-%03d   isch_o_sop: 0x%08x          isch_o_eop: 0x%08x\n", port, cnt.sop, cnt.eop);
  QLIX_COMM_CALL(dpp_pktrx_stat_parser_port_cnt_get, dev_id, port, &cnt);
  QLIX_COMM_PRINT("port_id-%03d parser_o_sop: 0x%08x        parser_o_eop: 0x%08x\n", port, cnt.sop, cnt.eop);
  // Scripts know this failure by the name of the first read.
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_pktrx_stat_isch_o_cnt_get(dev_id, &cnt), "dpp_pktrx_stat_isch_i_port_cnt_get");
  QLIX_COMM_PRINT("total     isch_o_total_sop: 0x%08x    isch_o_total_eop: 0x%08x\n", cnt.sop, cnt.eop);
  QLIX_COMM_CALL(dpp_pktrx_stat_parser_cnt_get, dev_id, &cnt);
  QLIX_COMM_PRINT("total   parser_o_total_sop: 0x%08x  parser_o_total_eop: 0x%08x\n", cnt.sop, cnt.eop);
  return QLIX_COMM_OK;
}
