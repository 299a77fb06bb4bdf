// dpp_reg_gen TABLE.cpp CONSTANTS.h TYPES.h SHEET.csv...: turns the description sheets into source. Writes nothing and
// ends with status 1 when a sheet is wrong; every complaint names file and line.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "emit.h"
#include "file.h"
#include "sheet.h"

namespace {

int failed(const char* path) {
  fprintf(stderr, "%s: %s\n", path, strerror(errno));
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    fprintf(stderr, "usage: %s TABLE.cpp CONSTANTS.h TYPES.h SHEET.csv...\n", argv[0]);
    return 2;
  }
  std::vector<reg_gen::reg> regs;
  reg_gen::complaints complaints;
  for (int i = 4; i < argc; ++i) {
    std::string text;
    if (!reg_gen::file_read(argv[i], text)) {
      return failed(argv[i]);
    }
    reg_gen::sheet_read(reg_gen::file_name(argv[i]), text, regs, complaints);
  }
  if (complaints.empty()) {
    reg_gen::regs_check(regs, complaints);
  }
  for (const reg_gen::complaint& c : complaints) {
    fprintf(stderr, "%s:%u: %s\n", c.at.file.c_str(), c.at.line, c.text.c_str());
  }
  if (!complaints.empty()) {
    return 1;
  }
  if (!reg_gen::file_write(argv[1], reg_gen::table_text(regs))) {
    return failed(argv[1]);
  }
  if (!reg_gen::file_write(argv[2], reg_gen::constants_text(regs))) {
    return failed(argv[2]);
  }
  if (!reg_gen::file_write(argv[3], reg_gen::types_text(regs))) {
    return failed(argv[3]);
  }
  return 0;
}
