// The description of the trace application's registers, as the compiler made it of trace_registers.csv.
#pragma once

#include <cstdint>
#include <string_view>

#include "common/register_description.h"

inline constexpr std::string_view TRACE_REGISTERS_CSV =
#include "trace_registers.csv.inc"
    ;
inline constexpr const kx_description& TRACE_REGISTERS = kx_description_of<TRACE_REGISTERS_CSV>;

inline constexpr uint64_t TRACE_INFO_BLOCK = 0x6214000000;  ///< card address of generators and port counters
inline constexpr uint64_t VQM_VF_COUNTERS = 0x6208400000;   ///< the queue engine's counter area

/// Reads a register of 32 or 64 bits of the list's array. The halves of a counter that moves on between their reads fit
/// together. Returns 0, or -1 with a message.
int32_t trace_reg_read(uint64_t base, const kx_register_description& row, uint32_t index, uint64_t* value);
