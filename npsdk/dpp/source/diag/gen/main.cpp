// dpp_cmd_gen TABLE.cpp FUNCTIONS.h COUNTS.h MANUAL.7 MANUAL.7.in REGISTERS.csv... -- COMMANDS.rows...: turns the
// command sheets into source. Writes nothing and ends with status 1 when a sheet is wrong; every complaint names file
// and line.

#include <cstdio>
#include <cstring>

#include "cmd_emit.h"
#include "cmd_sheet.h"
#include "file.h"

int main(int argc, char** argv) {
  if (argc < 7) {
    fprintf(stderr,
            "usage: %s TABLE.cpp FUNCTIONS.h COUNTS.h MANUAL.7 MANUAL.7.in REGISTERS.csv... -- COMMANDS.rows...\n",
            argv[0]);
    return 2;
  }
  std::vector<reg_gen::reg> regs;
  std::vector<cmd_gen::command> commands;
  reg_gen::complaints complaints;
  int at = 6;
  for (; at < argc && strcmp(argv[at], "--") != 0; ++at) {
    reg_gen::sheet_read(reg_gen::file_name(argv[at]), reg_gen::file_read(argv[at]), regs, complaints);
  }
  reg_gen::regs_check(regs, complaints);
  reg_gen::complaints_end(complaints);
  while (++at < argc) {
    cmd_gen::sheet_read(reg_gen::file_name(argv[at]), reg_gen::file_read(argv[at]), regs, commands, complaints);
  }
  reg_gen::complaints_end(complaints);
  cmd_gen::commands_check(commands, complaints);
  reg_gen::complaints_end(complaints);
  const std::string table = cmd_gen::table_text(commands, regs, complaints);
  reg_gen::complaints_end(complaints);
  reg_gen::file_write(argv[1], table);
  reg_gen::file_write(argv[2], cmd_gen::functions_text(commands));
  reg_gen::file_write(argv[3], cmd_gen::counts_text(commands));
  reg_gen::file_write(argv[4], cmd_gen::manual_text(commands, reg_gen::file_read(argv[5])));
  return 0;
}
