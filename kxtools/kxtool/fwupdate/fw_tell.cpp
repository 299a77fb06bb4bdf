#include "fw_tell.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/report.h"
#include "common/unique_fd.h"
#include "fw_log.h"
#include "fwupdate/package.h"

namespace {

constexpr size_t LINE_SIZE = 512;

// The id of who logged in, which sudo and su leave as it is. Empty where the kernel does not keep it.
void login_user(char* text, size_t size) {
  text[0] = '\0';
  const kx_unique_fd file(open("/proc/self/loginuid", O_RDONLY | O_CLOEXEC));
  char number[16];
  const ssize_t length = file ? read(file.get(), number, sizeof number - 1) : -1;
  if (length > 0) {
    number[length] = '\0';
    if (strcmp(number, "4294967295") != 0) {
      snprintf(text, size, ", logged in as %s", number);
    }
  }
}

}  // namespace

/// Declares `text` as the line that `format` and the arguments behind it make.
#define LINE_OF(text, format)                    \
  char text[LINE_SIZE];                          \
  {                                              \
    va_list args;                                \
    va_start(args, format);                      \
    vsnprintf(text, sizeof(text), format, args); \
    va_end(args);                                \
  }                                              \
  static_assert(true)

void fw_cause_tell(const char* format, ...) {
  LINE_OF(text, format);
  kx_error_print("cause: %s\n", text);
  kx_error_print("nothing was written to the flash\n");
}

void fw_tell(const char* format, ...) {
  LINE_OF(text, format);
  kx_error_print("%s\n", text);
  FW_INFO("%s\n", text);
}

void fw_note(const fw_update& update, const char* format, ...) {
  LINE_OF(text, format);
  FW_INFO("%s\n", text);
  if (update.journal != nullptr) {
    update.journal(text);
  }
}

void fw_announce(const fw_update& update, const char* format, ...) {
  LINE_OF(text, format);
  kx_error_print("%s\n", text);
  fw_note(update, "%s", text);
}

void fw_user_text(char* text, unsigned size) {
  char login[32];
  login_user(login, sizeof login);
  const char* sudo_user = getenv("SUDO_USER");
  char terminal[64] = "none";
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (ttyname_r(fd, terminal, sizeof terminal) == 0) {
      break;
    }
    snprintf(terminal, sizeof terminal, "none");
  }
  snprintf(text, size, "user %u%s%s%s, terminal %s", getuid(), login, sudo_user == nullptr ? "" : ", by sudo as ",
           sudo_user == nullptr ? "" : fw_text_printable(sudo_user).data(), terminal);
}
