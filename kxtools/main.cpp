// Program entry: builds the command tree, then runs one line from the arguments or the shell.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "common/report.h"
#include "device/address.h"
#include "device/bar.h"
#include "device/compat.h"
#include "kxtool/commands.h"
#include "kxtools/cmd.h"
#include "kxtools/session.h"
#include "kxtools/shell.h"
#include "modules.h"

namespace {

// A standard stream that came in closed would lend its number to the next file opened, and text meant for the user
// would go into a device file.
bool standard_streams_open() {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
    if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDWR) != fd) {
      return false;
    }
  }
  return true;
}

int32_t one_shot_run(int argc, char** argv) {
  // The line would begin with the next argument's word, or have none behind the module's name.
  if (argv[1] != nullptr && argv[1][strspn(argv[1], " ")] == '\0') {
    kx_print("kxtool %s: No such command for kxtools!\n", argv[1]);
    kx_error_print("kxtool: an empty word is no command: 'kxtool -h' lists them\n");
    return -1;
  }
  std::string line = "kxtool";
  for (int i = 1; i < argc; i++) {
    if (argv[i] == nullptr) {
      KXTOOLS_ERR("para is err\n");
      return -1;
    }
    line += ' ';
    line += argv[i];
  }
  return kxtools_cmd_execute(line.c_str());
}

int32_t interactive_run() {
  kxtools_interactive_set();
  if (kxtools_sbdf_switch(nullptr) != 0) {
    return -1;
  }
  return kxtools_shell_run();
}

}  // namespace

int main(int argc, char** argv) {
  if (!standard_streams_open()) {
    return -1;
  }
  if (kxtools_dev_info_init() != 0) {
    KXTOOLS_ERR("kxtools_dev_info_init failed\n");
    return -1;
  }
  if (kxtools_compat_info_init() != 0) {
    KXTOOLS_ERR("kxtools_compat_info_init failed\n");
    return -1;
  }
  if (kxtool_cmd_init() != 0) {
    KXTOOLS_ERR("kxtool_cmd_init failed\n");
    return -1;
  }
  if (kxtools_module_cmd_init() != 0) {
    KXTOOLS_ERR("kxtools_module_cmd_init failed\n");
    return -1;
  }
  return kx_exit_status(argc > 1 ? one_shot_run(argc, argv) : interactive_run());
}
