#include "common/status_line.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

constexpr char CLEAR_LINE[] = "\r\033[K";
constexpr size_t TEXT_MAX = 240;

// Changed with standard output locked, as every line that is printed locks it.
std::atomic<bool> shown = false;

int terminal() {
  return isatty(STDERR_FILENO) == 1 ? STDERR_FILENO : isatty(STDOUT_FILENO) == 1 ? STDOUT_FILENO : -1;
}

void terminal_write(int fd, const char* bytes, size_t length) {
  [[maybe_unused]] const ssize_t written = write(fd, bytes, length);  // a terminal that is gone shows nothing
}

}  // namespace

bool kx_status_possible() {
  return terminal() >= 0;
}

size_t kx_status_width() {
  struct winsize size = {};
  return ioctl(terminal(), TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col - 1u : SIZE_MAX;
}

void kx_status_show(const char* text) {
  const int fd = terminal();
  if (fd < 0) {
    return;
  }
  // In one piece. The cursor goes back to the start of the line: whatever is printed by others begins there.
  char line[sizeof CLEAR_LINE + TEXT_MAX + 1];
  const int length = static_cast<int>(std::min(kx_status_width(), TEXT_MAX));
  const int size = snprintf(line, sizeof line, "%s%.*s\r", CLEAR_LINE, length, text);
  flockfile(stdout);
  fflush(stdout);
  terminal_write(fd, line, static_cast<size_t>(size));
  shown = true;
  funlockfile(stdout);
}

void kx_status_clear() {
  if (!shown) {
    return;
  }
  flockfile(stdout);
  if (shown.exchange(false)) {
    terminal_write(terminal(), CLEAR_LINE, strlen(CLEAR_LINE));
  }
  funlockfile(stdout);
}
