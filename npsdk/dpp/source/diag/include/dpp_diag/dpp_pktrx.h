// Counters and tables of the packet-receive block. 0x1205 for a device or index out of range, 0x1201 for a null
// pointer, or the code of the failed access. Reading a counter clears it.
#pragma once

#include <cstdint>

inline constexpr uint32_t DPP_PKTRX_PORT_NUM = 128;
inline constexpr uint32_t DPP_PKTRX_UDF_NUM = 64;

/// Starts and ends of packets that passed one stage.
struct dpp_pktrx_sop_eop {
  uint32_t sop;
  uint32_t eop;
};

uint32_t dpp_pktrx_stat_isch_i_port_cnt_get(uint32_t dev_id, uint32_t port, dpp_pktrx_sop_eop* cnt);
uint32_t dpp_pktrx_stat_isch_o_port_cnt_get(uint32_t dev_id, uint32_t port, dpp_pktrx_sop_eop* cnt);
uint32_t dpp_pktrx_stat_parser_port_cnt_get(uint32_t dev_id, uint32_t port, dpp_pktrx_sop_eop* cnt);
uint32_t dpp_pktrx_stat_isch_o_cnt_get(uint32_t dev_id, dpp_pktrx_sop_eop* cnt);
uint32_t dpp_pktrx_stat_parser_cnt_get(uint32_t dev_id, dpp_pktrx_sop_eop* cnt);

/// The two words of an entry that the micro-code defines.
uint32_t dpp_pktrx_udf_table_get(uint32_t dev_id, uint32_t index, uint32_t* words);
