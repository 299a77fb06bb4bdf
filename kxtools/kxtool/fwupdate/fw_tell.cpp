#include "fw_tell.h"

#include <unistd.h>

#include <cstdlib>

#include "common/report.h"
#include "device/sysfs.h"
#include "fw_log.h"
#include "fwupdate/package.h"

namespace {

// The id of who logged in, which sudo and su leave as it is. Empty where the kernel does not keep it.
std::string login_text() {
  const std::string number = kxtools_file_line("/proc/self/loginuid");
  return number.empty() || number == "4294967295" ? "" : ", logged in as " + number;
}

}  // namespace

void fw_cause_tell(const std::string& text) {
  kx_error_print("cause: %s\n", text.c_str());
  kx_error_print("nothing was written to the flash\n");
}

void fw_tell(const std::string& text) {
  kx_error_print("%s\n", text.c_str());
  FW_INFO("%s\n", text.c_str());
}

void fw_note(const fw_update& update, const std::string& text) {
  FW_INFO("%s\n", text.c_str());
  if (update.journal != nullptr) {
    update.journal(text.c_str());
  }
}

void fw_announce(const fw_update& update, const std::string& text) {
  kx_error_print("%s\n", text.c_str());
  fw_note(update, text);
}

std::string fw_user_text() {
  const char* sudo_user = getenv("SUDO_USER");
  char terminal[64] = "none";
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (ttyname_r(fd, terminal, sizeof terminal) == 0) {
      break;
    }
    snprintf(terminal, sizeof terminal, "none");
  }
  return kx_text("user %u%s%s%s, terminal %s", getuid(), login_text().c_str(),
                 sudo_user == nullptr ? "" : ", by sudo as ",
                 sudo_user == nullptr ? "" : fw_text_printable(sudo_user).data(), terminal);
}
