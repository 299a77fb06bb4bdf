// Module access hooks: how the words of a register of each hardware block reach the device channel. The description
// names a pair of them for each register. Addresses are final, conversion has been applied; data points to the
// register's words, most significant word first.
#pragma once

#include <cstdint>

#include "dpp_chip/dpp_dev.h"
#include "dpp_reg/dpp_reg_info.h"

/// Registers of blocks that have a hook of their own (traffic manager, search engine): all words of one instance.
uint32_t dpp_reg_block_write(uint32_t dev_id, const dpp_reg_info& info, uint32_t addr, const uint32_t* data);
uint32_t dpp_reg_block_read(uint32_t dev_id, const dpp_reg_info& info, uint32_t addr, uint32_t* data);

/// Through the hook of the row: all words of one instance. A plain register, which most are, goes straight to the
/// channel; one of more than one word moves word by word in ascending address order.
inline uint32_t dpp_reg_hook_write(uint32_t dev_id, const dpp_reg_info& info, uint32_t addr, const uint32_t* data) {
  return info.access == DPP_REG_ACCESS_DIRECT ? dpp_dev_write_channel(dev_id, addr, info.width / 4, data)
                                              : dpp_reg_block_write(dev_id, info, addr, data);
}
inline uint32_t dpp_reg_hook_read(uint32_t dev_id, const dpp_reg_info& info, uint32_t addr, uint32_t* data) {
  return info.access == DPP_REG_ACCESS_DIRECT ? dpp_dev_read_channel(dev_id, addr, info.width / 4, data)
                                              : dpp_reg_block_read(dev_id, info, addr, data);
}

/// One word, straight to the channel.
uint32_t dpp_write(uint32_t dev_id, uint32_t addr, const uint32_t* data);
uint32_t dpp_read(uint32_t dev_id, uint32_t addr, uint32_t* data);

// Traffic manager: one word of its control registers (etm), and one word of its queue memories (tm), which lie behind
// the traffic manager's indirect window.
uint32_t dpp_etm_write(uint32_t dev_id, uint32_t addr, const uint32_t* data);
uint32_t dpp_etm_read(uint32_t dev_id, uint32_t addr, uint32_t* data);
uint32_t dpp_tm_write(uint32_t dev_id, uint32_t addr, const uint32_t* data);
uint32_t dpp_tm_read(uint32_t dev_id, uint32_t addr, uint32_t* data);

inline constexpr uint32_t DPP_RC_REG_WINDOW_TIMEOUT = 0x609;  ///< an indirect window did not finish a read
inline constexpr uint32_t DPP_SE_ALG_WORDS = 16;
/// 16 words behind the search-engine indirect window, under operation mutex 0. `addr` is the place behind the window:
/// 21 bits, of which bit 16 chooses registers (1) or hash memory (0), bits 15-14 the zgroup, 13-11 the zblock, 10-9 the
/// zcell and 8-0 the line, and bits 20-17 enable the write of each quarter of a memory line.
uint32_t dpp_se_alg_write(uint32_t dev_id, uint32_t addr, const uint32_t* data);
uint32_t dpp_se_alg_read(uint32_t dev_id, uint32_t addr, uint32_t* data);
uint32_t dpp_module_get_se_alg_baseaddr();
