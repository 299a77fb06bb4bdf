// The description of the trace application's registers, as the compiler made it of trace_registers.csv.
#pragma once

#include <cstdint>
#include <string_view>

#include "common/card_memory.h"
#include "common/register_description.h"
#include "common/report.h"
#include "kx_pcie/card_register.h"

inline constexpr std::string_view TRACE_REGISTERS_CSV =
#include "trace_registers.csv.inc"
    ;
inline constexpr const kx_description& TRACE_REGISTERS = kx_description_of<TRACE_REGISTERS_CSV>;

/// Reads a register of 32 or 64 bits of the list's array in the block at `base`. Returns 0, or -1 with a message.
inline int32_t trace_reg_read(uint64_t base, const kx_register_description& row, uint32_t index, uint64_t* value) {
  const uint64_t address = card_register_address(base, row, index);
  if (card_register_read(address, row.width, value, true) != 0) {
    kx_print("read trace reg 0x%llx failed!\n", static_cast<unsigned long long>(address));
    return -1;
  }
  return 0;
}
