#include <curses.h>
#include <unistd.h>

#include <cinttypes>

#include "watch_screen.h"

namespace {

constexpr short BAD = 1;

class terminal_screen final : public watch_screen {
 public:
  explicit terminal_screen(SCREEN* screen) : screen_(screen) {
    cbreak();
    noecho();
    curs_set(0);
    keypad(stdscr, TRUE);
    if (has_colors()) {
      start_color();
      use_default_colors();
      init_pair(BAD, COLOR_RED, -1);
    }
  }
  terminal_screen(const terminal_screen&) = delete;
  terminal_screen& operator=(const terminal_screen&) = delete;
  ~terminal_screen() override {
    endwin();
    delscreen(screen_);
  }

  // What does not fit is cut; the last line has the keys.
  void show(const watch_look& look, const watch_state& state) override {
    char text[256];
    erase();
    line_ = 0;
    snprintf(text, sizeof text, "%s  %s  look %u, every %u s%s", look.name.c_str(), look.time.c_str(), look.number,
             look.interval_s, look.paused ? ", paused" : "");
    line(text, A_BOLD);
    line(state.summary().c_str(), A_NORMAL);
    for (const std::string& fault : state.faults()) {
      line(fault.c_str(), bad());
    }
    line("", A_NORMAL);
    snprintf(text, sizeof text, "%-8s %-32s %14s %16s %20s", "UNIT", "COUNTER", "A SECOND", "SINCE START", "NOW");
    line(text, A_BOLD);
    const std::vector<watch_row> rows = state.rows();
    for (const watch_row& row : rows) {
      snprintf(text, sizeof text, "%-8s %-32s %14.0f %16" PRIu64 " %20" PRIu64, row.unit.c_str(), row.name.c_str(),
               row.per_second, row.since_start, row.now);
      line(text, row.error ? bad() : A_NORMAL);
    }
    if (rows.empty()) {
      line("no counter has moved since the start", A_DIM);
    }
    mvaddnstr(LINES - 1, 0, "q quit   p pause   r count from here", COLS - 1);
    refresh();
  }

  watch_key wait(int milliseconds) override {
    timeout(milliseconds);
    switch (getch()) {
      case 'q':
        return watch_key::quit;
      case 'p':
        return watch_key::pause;
      case 'r':
        return watch_key::restart;
      case KEY_RESIZE:
        return watch_key::redraw;
      default:
        return watch_key::none;
    }
  }

 private:
  static attr_t bad() {
    return has_colors() ? static_cast<attr_t>(COLOR_PAIR(BAD)) : A_BOLD;
  }
  void line(const char* text, attr_t attributes) {
    if (line_ < LINES - 1) {
      attrset(static_cast<int>(attributes));
      mvaddnstr(line_++, 0, text, COLS);
      attrset(A_NORMAL);
    }
  }

  SCREEN* screen_;
  int line_ = 0;
};

}  // namespace

std::unique_ptr<watch_screen> watch_terminal() {
  if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0) {
    return nullptr;
  }
  SCREEN* screen = newterm(nullptr, stdout, stdin);
  return screen == nullptr ? nullptr : std::make_unique<terminal_screen>(screen);
}
