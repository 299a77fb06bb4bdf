// dpp_cmd_gen TABLE.cpp FUNCTIONS.h COUNTS.h MANUAL.7 REGISTERS.csv... -- COMMANDS.rows...: turns the command sheets
// into source. Writes nothing and ends with status 1 when a sheet is wrong; every complaint names file and line.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cmd_emit.h"
#include "cmd_sheet.h"
#include "file.h"
#include "sheet.h"

namespace {

int failed(const char* path) {
  fprintf(stderr, "%s: %s\n", path, strerror(errno));
  return 1;
}

int complained(const reg_gen::complaints& complaints) {
  for (const reg_gen::complaint& c : complaints) {
    fprintf(stderr, "%s:%u: %s\n", c.at.file.c_str(), c.at.line, c.text.c_str());
  }
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 6) {
    fprintf(stderr, "usage: %s TABLE.cpp FUNCTIONS.h COUNTS.h MANUAL.7 REGISTERS.csv... -- COMMANDS.rows...\n",
            argv[0]);
    return 2;
  }
  std::vector<reg_gen::reg> regs;
  std::vector<cmd_gen::command> commands;
  reg_gen::complaints complaints;
  bool registers = true;
  for (int i = 5; i < argc; ++i) {
    if (strcmp(argv[i], "--") == 0) {
      registers = false;
      reg_gen::regs_check(regs, complaints);
      continue;
    }
    std::string text;
    if (!reg_gen::file_read(argv[i], text)) {
      return failed(argv[i]);
    }
    if (registers) {
      reg_gen::sheet_read(reg_gen::file_name(argv[i]), text, regs, complaints);
    } else if (complaints.empty() || !commands.empty()) {
      cmd_gen::sheet_read(reg_gen::file_name(argv[i]), text, regs, commands, complaints);
    }
  }
  if (complaints.empty()) {
    cmd_gen::commands_check(commands, complaints);
    cmd_gen::levels_check(commands, complaints);
  }
  std::string table;
  if (complaints.empty()) {
    table = cmd_gen::table_text(commands, regs, complaints);
  }
  if (!complaints.empty()) {
    return complained(complaints);
  }
  const std::string texts[] = {table, cmd_gen::functions_text(commands), cmd_gen::counts_text(commands),
                               cmd_gen::manual_text(commands)};
  for (int i = 0; i < 4; ++i) {
    if (!reg_gen::file_write(argv[i + 1], texts[i])) {
      return failed(argv[i + 1]);
    }
  }
  return 0;
}
