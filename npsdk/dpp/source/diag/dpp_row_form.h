// What rows are made of, for the generator that reads them and for the interpreter.
#pragma once

#include <cstdint>

inline constexpr uint32_t DPP_ROW_SLOT_MAX = 24;   ///< variables of a row
inline constexpr uint32_t DPP_ROW_PLACE_MAX = 16;  ///< register instances read in one step

/// What stands behind a name. The table has none of the missing ones.
enum class dpp_cmd_kind : uint32_t { row, function, text, shell, register_print, register_dump, missing };

/// A number, or the slot of a variable: first the arguments, then loops and totals in order of appearance.
struct dpp_row_operand {
  uint32_t is_slot = 0;
  uint32_t number = 0;
};

struct dpp_row_place {
  uint32_t reg_no = 0;
  dpp_row_operand m;
  dpp_row_operand n;
};

enum class dpp_row_value_kind : uint32_t { number, field, whole };

struct dpp_row_value {
  dpp_row_value_kind kind = dpp_row_value_kind::number;
  dpp_row_operand number;
  dpp_row_place at;
  uint32_t field = 0;
};

enum class dpp_row_op : uint32_t {
  print,
  fields,
  words,
  loop,
  end,
  add,
  set,
  clear,
  errors,
  idle,
  ready,
  summary,
  run,
  call
};
