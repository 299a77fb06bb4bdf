// The generated constants behind the command table and the row interpreter. Texts are offsets into one pool.
#pragma once

#include <cstdint>
#include <span>

#include "dpp_diag/dpp_cmd.h"
#include "dpp_reg/dpp_name_index.h"
#include "dpp_row_form.h"

struct dpp_cmd_record {
  uint32_t name;
  dpp_cmd_kind kind;
  uint32_t index;  // into the rows or the functions, or the register number
  uint32_t arg_first;
  uint32_t arg_num;
};

/// What only the commands of the sheets have; they are the first of the table.
struct dpp_cmd_named {
  uint32_t sheet;
  uint32_t line;
  uint32_t purpose;
  uint32_t writes;  // a function that changes the card and prints nothing of that
};

/// A command of the tool's list.
struct dpp_cmd_listed {
  uint32_t name;
  uint32_t permission;
};

struct dpp_cmd_function {
  dpp_cmd_func func;
};

struct dpp_row_step {
  dpp_row_op op;
  uint32_t line;  // of the sheet
  uint32_t text;  // run: place of the command in the table
  uint32_t slot;  // loop, add; call: the function
  uint32_t jump;  // loop: its end; end: its loop; counted from the row's first step
  dpp_row_operand from;
  dpp_row_operand to;
  dpp_row_place at;
  uint32_t value_first;
  uint32_t value_num;
};

struct dpp_cmd_arg {
  uint32_t name;
  uint32_t is_ranged;
  uint32_t min;
  uint32_t max;
};

struct dpp_row {
  uint32_t step_first;
  uint32_t step_num;
};

/// The place of a record that the table has handed out.
uint32_t dpp_cmd_place(const DppCmdEntry& entry);

/// Checks the values of a named command's arguments in order. Returns 0, or the code of the first that is out of its
/// range, traced with the command's name and the line of its sheet.
uint32_t dpp_cmd_ranges_check(uint32_t place, std::span<const uint32_t> values);

extern const dpp_cmd_record dpp_cmd_records[];
extern const dpp_cmd_named dpp_cmd_named_table[];
extern const dpp_cmd_listed dpp_cmd_listed_table[];
extern const dpp_name_slots dpp_cmd_name_slots;
extern const dpp_cmd_function dpp_cmd_functions[];
extern const dpp_row dpp_row_table[];
extern const dpp_cmd_arg dpp_cmd_args[];
extern const dpp_row_step dpp_row_steps[];
extern const dpp_row_value dpp_row_values[];
extern const char dpp_cmd_text_pool[];

inline const char* dpp_cmd_text(uint32_t offset) {
  return &dpp_cmd_text_pool[offset];
}
