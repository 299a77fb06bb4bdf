// Raw word access by register-space address, for diagnostics. No conversion, no filter, no field.
#pragma once

#include <cstdint>

/// Writes one word.
uint32_t dpp_debug_wr(uint32_t dev_id, uint32_t addr, uint32_t value);
/// Reads one word and prints it.
uint32_t dpp_debug_rd(uint32_t dev_id, uint32_t addr);
/// Reads `num` (1 to 1024) consecutive words one at a time and prints each.
uint32_t dpp_debug_multi_rd(uint32_t dev_id, uint32_t addr, uint32_t num);
