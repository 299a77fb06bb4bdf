// Packet receive: the counters of a packet's way through the block.
#include "dpp_chip/dpp_dev.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_diag/dpp_pktrx.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_no.h"
#include "qlix_comm/check.h"

namespace {

// All counters are pairs: starts, then ends of packets.
uint32_t pair_get(uint32_t dev_id, uint32_t reg_no, uint32_t port, dpp_pktrx_sop_eop* cnt) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, port, 0, DPP_PKTRX_PORT_NUM - 1);
  QLIX_COMM_CHECK_POINT(cnt);
  uint32_t fields[2] = {};
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_read(dev_id, reg_no, 0, port, fields), "dpp_reg_read");
  *cnt = {fields[0], fields[1]};
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t dpp_pktrx_stat_isch_i_port_cnt_get(uint32_t dev_id, uint32_t port, dpp_pktrx_sop_eop* cnt) {
  return pair_get(dev_id, DPP_REG_PKTRX_STAT_ISCH_I_PORT_CNT, port, cnt);
}

uint32_t dpp_pktrx_stat_isch_o_port_cnt_get(uint32_t dev_id, uint32_t port, dpp_pktrx_sop_eop* cnt) {
  return pair_get(dev_id, DPP_REG_PKTRX_STAT_ISCH_O_PORT_CNT, port, cnt);
}

uint32_t dpp_pktrx_stat_parser_port_cnt_get(uint32_t dev_id, uint32_t port, dpp_pktrx_sop_eop* cnt) {
  return pair_get(dev_id, DPP_REG_PKTRX_STAT_PARSER_PORT_CNT, port, cnt);
}

uint32_t dpp_pktrx_stat_isch_o_cnt_get(uint32_t dev_id, dpp_pktrx_sop_eop* cnt) {
  return pair_get(dev_id, DPP_REG_PKTRX_STAT_ISCH_O_CNT, 0, cnt);
}

uint32_t dpp_pktrx_stat_parser_cnt_get(uint32_t dev_id, dpp_pktrx_sop_eop* cnt) {
  return pair_get(dev_id, DPP_REG_PKTRX_STAT_PARSER_CNT, 0, cnt);
}

uint32_t dpp_pktrx_udf_table_get(uint32_t dev_id, uint32_t index, uint32_t* words) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, index, 0, DPP_PKTRX_UDF_NUM - 1);
  QLIX_COMM_CHECK_POINT(words);
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_reg_read(dev_id, DPP_REG_PKTRX_UDF_TABLE, 0, index, words), "dpp_reg_read");
  return QLIX_COMM_OK;
}

uint32_t diag_dpp_pktrx_port_cnt_prt(uint32_t dev_id, uint32_t port) {
  dpp_pktrx_sop_eop cnt = {};
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_pktrx_stat_isch_i_port_cnt_get(dev_id, port, &cnt),
                         "dpp_pktrx_stat_isch_i_port_cnt_get");
  QLIX_COMM_PRINT("port_id-%03d   isch_i_sop: 0x%08x          isch_i_eop: 0x%08x\n", port, cnt.sop, cnt.eop);
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_pktrx_stat_isch_o_port_cnt_get(dev_id, port, &cnt),
                         "dpp_pktrx_stat_isch_o_port_cnt_get");
  QLIX_COMM_PRINT("port_id-%03d   isch_o_sop: 0x%08x          isch_o_eop: 0x%08x\n", port, cnt.sop, cnt.eop);
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_pktrx_stat_parser_port_cnt_get(dev_id, port, &cnt),
                         "dpp_pktrx_stat_parser_port_cnt_get");
  QLIX_COMM_PRINT("port_id-%03d parser_o_sop: 0x%08x        parser_o_eop: 0x%08x\n", port, cnt.sop, cnt.eop);
  // Scripts know this failure by the name of the first read.
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_pktrx_stat_isch_o_cnt_get(dev_id, &cnt), "dpp_pktrx_stat_isch_i_port_cnt_get");
  QLIX_COMM_PRINT("total     isch_o_total_sop: 0x%08x    isch_o_total_eop: 0x%08x\n", cnt.sop, cnt.eop);
  QLIX_COMM_CHECK_DEV_RC(dev_id, dpp_pktrx_stat_parser_cnt_get(dev_id, &cnt), "dpp_pktrx_stat_parser_cnt_get");
  QLIX_COMM_PRINT("total   parser_o_total_sop: 0x%08x  parser_o_total_eop: 0x%08x\n", cnt.sop, cnt.eop);
  return QLIX_COMM_OK;
}
