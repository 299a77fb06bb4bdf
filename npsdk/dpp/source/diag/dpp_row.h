// The interpreter of rows.
#pragma once

#include <cstdint>
#include <span>

#include "dpp_cmd_table.h"

/// What the health checks of a row found.
struct dpp_row_verdicts {
  uint32_t items = 0;
  uint32_t errors = 0;
  uint32_t not_ready = 0;
  uint32_t busy = 0;

  void add(const dpp_row_verdicts& other);
};

inline constexpr uint32_t DPP_ROW_DEPTH_MAX = 8;  ///< rows that run rows

/// Runs the command at `place` of the table, when it is a row, with the values of `args` (those missing are 0); adds
/// its verdicts to `verdicts` and tells `args` what it writes. Returns 0 or the code of the check or step that failed,
/// which has been traced.
uint32_t dpp_row_run(uint32_t place, const DppCmdArgs& args, dpp_row_verdicts& verdicts, uint32_t depth = 0);

/// Formats numbers into `out` (cut at `size`, always terminated). `text` holds one conversion for each value: u, d or x
/// with 0, -, blank and width, after ll for 64 bits.
void dpp_row_format(char* out, uint32_t size, const char* text, std::span<const uint64_t> values);
