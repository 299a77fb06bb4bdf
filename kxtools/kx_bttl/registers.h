// The register description of the packet-engine blocks, as the compiler made it of bttl_registers.csv, and the printer
// of its registers.
#pragma once

#include <cstdint>
#include <string_view>

#include "common/card_memory.h"
#include "common/register_description.h"

inline constexpr std::string_view BTTL_REGISTERS_CSV =
#include "bttl_registers.csv.inc"
    ;
inline constexpr const kx_description& BTTL_REGISTERS = kx_description_of<BTTL_REGISTERS_CSV>;

/// Reads a register of the block at `base`; `index` counts for arrays. Returns 0, or -1 with a message.
int32_t bttl_reg_read(uint64_t base, const kx_register_description& row, uint32_t index, uint32_t* value);

/// Prints one line per register of a list of the block at `base`: offset in the block as four hexadecimal digits, name,
/// value. `index` counts for arrays. Returns 0, or -1 with a message at the first register that cannot be read.
int32_t bttl_list_show(uint64_t base, std::string_view list, uint32_t index);
