// What the generator writes: the constants of the driver's command table, and the declarations of the commands that are
// functions.
#pragma once

#include <string>
#include <vector>

#include "cmd_sheet.h"

namespace cmd_gen {

inline constexpr size_t COMMAND_COUNT = 5149;  // of the driver's table

/// Source text of the table: the commands of the sheets, a printer for each register, then dumps of registers in number
/// order until the table is full. Empty with a complaint when the sheets hold too many commands.
std::string table_text(const std::vector<command>& commands, const std::vector<reg_gen::reg>& regs, complaints& out);

std::string functions_text(const std::vector<command>& commands);

/// The numbers of records, arguments at the most, named commands and commands in the tool's list.
std::string counts_text(const std::vector<command>& commands);

/// The manual page with the commands and their words in place of its line @COMMANDS@, and a command of each sheet that
/// everyone may use, with the smallest values that its words take, in place of @EXAMPLES@.
std::string manual_text(const std::vector<command>& commands, std::string page);

}  // namespace cmd_gen
