// Command sheets: the named commands of the driver, read into rows and checked against the register sheets. The form of
// a sheet is described in ../rows/README.md.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sheet.h"

namespace cmd_gen {

using reg_gen::complaints;

/// A number, or the slot of a variable.
struct operand {
  bool variable = false;
  uint32_t number = 0;
};

/// One instance of a register.
struct place {
  uint32_t reg = 0;
  operand m;
  operand n;
};

enum class value_kind : uint32_t { number, field, whole };

struct value {
  value_kind kind = value_kind::number;
  operand number;
  place at;
  uint32_t field = 0;
};

/// The order is that of the interpreter.
enum class op : uint32_t { print, fields, words, loop, end, add, set, clear, errors, idle, ready, summary, run, call };

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

/// The order is that of the driver's table, which has none of the missing ones.
enum class command_kind : uint32_t { row, function, text, shell, missing };

/// Who finds the command in the tool's list; unlisted commands are the debug shell's alone.
enum class command_level : uint32_t { untold, everyone, super, unlisted };

struct command {
  reg_gen::place at;
  command_kind kind = command_kind::row;
  std::string name;
  command_level level = command_level::untold;
  bool writes = false;  // of a function: it changes the card and prints nothing of that
  std::string purpose;
  std::vector<argument> args;
  std::vector<step> steps;
};

inline constexpr size_t args_max = 12;
inline constexpr size_t slots_max = 24;   // variables of a row
inline constexpr size_t places_max = 16;  // register instances of one step
inline constexpr uint32_t device_max = 15;

/// Reads one sheet and appends its commands; what is wrong goes to `out`. `regs` is complete and sorted by number.
void sheet_read(const std::string& file, std::string_view text, const std::vector<reg_gen::reg>& regs,
                std::vector<command>& commands, complaints& out);

/// Checks that hold across sheets: no name twice, commands that are run exist.
void commands_check(const std::vector<command>& commands, complaints& out);

/// Every command tells who may use it and what it is for.
void levels_check(const std::vector<command>& commands, complaints& out);

}  // namespace cmd_gen
