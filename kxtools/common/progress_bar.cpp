#include "common/progress_bar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace {

constexpr int COLUMNS = 40;
constexpr char FILLED[] = "########################################";
static_assert(sizeof FILLED == COLUMNS + 1);

std::atomic<bool> bar_shown = false;

// Columns for the bar beside `others`. A line that the terminal must wrap would scroll it at every redraw.
int bar_columns(size_t others) {
  struct winsize size = {};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
    return COLUMNS;
  }
  return std::clamp(size.ws_col - 1 - static_cast<int>(others), 0, COLUMNS);
}

}  // namespace

kx_progress_bar::kx_progress_bar(const char* title, uint64_t total)
    : title_(title), total_(total), terminal_(isatty(STDERR_FILENO) == 1) {
  update(0);
}

kx_progress_bar::~kx_progress_bar() {
  kx_progress_bar_hide();
}

void kx_progress_bar_hide() {
  if (bar_shown.exchange(false)) {
    fputs("\r\033[K", stderr);
    fflush(stderr);
  }
}

void kx_progress_bar::update(uint64_t done) {
  if (!terminal_) {
    return;
  }
  const double part = total_ == 0 ? 1 : static_cast<double>(std::min(done, total_)) / static_cast<double>(total_);
  const int percent = static_cast<int>(part * 100);
  if (percent == percent_) {
    return;
  }
  percent_ = percent;
  bar_shown = true;
  const int columns = bar_columns(strlen(title_) + strlen(" [] 100%"));
  fprintf(stderr, "\r%s [%-*.*s] %3d%%", title_, columns, percent * columns / 100, FILLED, percent);
  fflush(stderr);
}
