// Fills a document's template, read from standard input, with the command tables of this build:
//   kxtool_describe man|words < TEMPLATE > DOCUMENT
#include "describe.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/report.h"
#include "device/bar.h"
#include "device/compat.h"
#include "kxtool/commands.h"
#include "modules.h"

namespace {

constexpr char MARK[] = "@TABLES@";

bool tables_init() {
  return kxtools_dev_info_init() == 0 && kxtools_compat_info_init() == 0 && kxtool_cmd_init() == 0 &&
         kxtools_module_cmd_init() == 0;
}

void template_fill(void (*describe)()) {
  char* line = nullptr;
  size_t size = 0;
  while (getline(&line, &size, stdin) >= 0) {
    if (strstr(line, MARK) != nullptr) {
      describe();
    } else {
      fputs(line, stdout);
    }
  }
  free(line);
}

}  // namespace

int main(int argc, char** argv) {
  const bool man = argc == 2 && strcmp(argv[1], "man") == 0;
  if (!man && (argc != 2 || strcmp(argv[1], "words") != 0)) {
    fputs("usage: kxtool_describe man|words < TEMPLATE > DOCUMENT\n", stderr);
    return 2;
  }
  if (!tables_init()) {
    return 1;
  }
  template_fill(man ? describe_man : describe_words);
  return kx_exit_status(0);
}
