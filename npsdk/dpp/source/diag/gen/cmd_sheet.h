// Command sheets: the named commands of the driver, read into rows and checked against the register sheets. The form of
// a sheet is described in ../rows/README.md.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "dpp_row_form.h"
#include "sheet.h"

namespace cmd_gen {

using reg_gen::complaints;

using operand = dpp_row_operand;
using place = dpp_row_place;
using value_kind = dpp_row_value_kind;
using value = dpp_row_value;
using op = dpp_row_op;
using command_kind = dpp_cmd_kind;

struct step {
  op what = op::print;
  uint32_t line = 0;
  std::string text;
  uint32_t slot = 0;
  operand from;
  operand to;
  place at;
  std::vector<value> values;
  uint32_t jump = 0;  // loop: its end; end: its loop
};

struct argument {
  std::string name;
  bool ranged = false;
  uint32_t min = 0;
  uint32_t max = 0;
};

/// Who finds the command in the tool's list; unlisted commands are the debug shell's alone.
enum class command_level : uint32_t { everyone, super, unlisted };

struct command {
  reg_gen::place at;
  command_kind kind = command_kind::row;
  std::string name;
  command_level level = command_level::everyone;
  bool writes = false;  // of a function: it changes the card and prints nothing of that
  std::string purpose;
  std::vector<argument> args;
  std::vector<step> steps;
};

inline constexpr uint32_t ARGS_MAX = 12;
inline constexpr uint32_t DEVICE_MAX = 15;

/// Reads one sheet and appends its commands; what is wrong goes to `out`. `regs` is complete and sorted by number.
void sheet_read(const std::string& file, std::string_view text, const std::vector<reg_gen::reg>& regs,
                std::vector<command>& commands, complaints& out);

/// Checks that hold across sheets: no name twice, commands that are run exist.
void commands_check(const std::vector<command>& commands, complaints& out);

}  // namespace cmd_gen
