// Statistics counters of the packet processor, in the memory behind the statistics window.
#pragma once

#include <cstdint>

inline constexpr uint32_t DPP_STAT_WIDTH_64 = 0;   ///< a pair of words, high first
inline constexpr uint32_t DPP_STAT_WIDTH_128 = 1;  ///< four words
inline constexpr uint32_t DPP_STAT_INDEX_MAX = 0x3FFFFFF;

/// Reads the counter at `index`; with `clr_mode` 1 the card clears it. `data` has room for two or four words. 0x1205
/// for a value out of range, 0x1201 for a null pointer, or the code of the failed access.
uint32_t dpp_stat_ppu_cnt_get(uint32_t dev_id, uint32_t rd_mode, uint32_t index, uint32_t clr_mode, uint32_t* data);
/// Writes the counter at `index`.
uint32_t dpp_stat_ppu_cnt_set(uint32_t dev_id, uint32_t rd_mode, uint32_t index, const uint32_t* data);
