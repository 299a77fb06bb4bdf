// dpp_reg_gen TABLE.cpp TYPES.h FORMATS.csv SHEET.csv...: turns the description sheets into source. Writes nothing and
// ends with status 1 when a sheet is wrong; every complaint names file and line.

#include <cstdio>

#include "emit.h"
#include "file.h"

int main(int argc, char** argv) {
  if (argc < 5) {
    fprintf(stderr, "usage: %s TABLE.cpp TYPES.h FORMATS.csv SHEET.csv...\n", argv[0]);
    return 2;
  }
  std::vector<reg_gen::reg> regs;
  std::vector<reg_gen::reg> formats;
  reg_gen::complaints complaints;
  reg_gen::formats_read(reg_gen::file_name(argv[3]), reg_gen::file_read(argv[3]), formats, complaints);
  for (int i = 4; i < argc; ++i) {
    reg_gen::sheet_read(reg_gen::file_name(argv[i]), reg_gen::file_read(argv[i]), regs, complaints);
  }
  reg_gen::complaints_end(complaints);
  reg_gen::regs_check(regs, complaints);
  reg_gen::complaints_end(complaints);
  reg_gen::file_write(argv[1], reg_gen::table_text(regs));
  reg_gen::file_write(argv[2], reg_gen::types_text(regs, formats));
  return 0;
}
