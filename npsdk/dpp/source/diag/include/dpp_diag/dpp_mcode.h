// Micro-code: what it can do, and why it dropped packets.
#pragma once

#include <cstdint>

inline constexpr uint32_t DPP_MCODE_FEATURE_NUM = 6;

/// One of the 64-bit feature words. 0x1205 for a device or index out of range, 0x1201 for a null pointer, or the code
/// of the failed access.
uint32_t dpp_mcode_feature_get(uint32_t dev_id, uint32_t index, uint64_t* feature);

/// Goes over the drop points of micro-code `version` (1 or 2). With `mode` 0 prints those that have counted packets,
/// with 1 reads the counters, which clears them, and prints nothing. A failed check or read is traced with `function`
/// and ends the walk with its code.
uint32_t dpp_mcode_drop_stat_walk(const char* function, uint32_t dev_id, uint32_t mode, uint32_t version);
