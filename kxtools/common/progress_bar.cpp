#include "common/progress_bar.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/status_line.h"

namespace {

constexpr size_t COLUMNS = 40;
constexpr char FILLED[] = "########################################";
static_assert(sizeof FILLED == COLUMNS + 1);

// Columns for the bar beside `others`.
int bar_columns(size_t others) {
  const size_t width = kx_status_width();
  return static_cast<int>(width < others ? 0 : std::min(width - others, COLUMNS));
}

}  // namespace

kx_progress_bar::kx_progress_bar(const char* title, uint64_t total)
    : title_(title), total_(total), terminal_(kx_status_possible()) {
  update(0);
}

kx_progress_bar::~kx_progress_bar() {
  kx_status_clear();
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
  const int columns = bar_columns(strlen(title_) + strlen(" [] 100%"));
  char text[128];
  snprintf(text, sizeof text, "%s [%-*.*s] %3d%%", title_, columns, percent * columns / 100, FILLED, percent);
  kx_status_show(text);
}
