// The terminal's mode while the line editor has it.
#pragma once

#include <termios.h>

#include <csignal>
#include <iterator>

/// While one exists, a signal that ends the tool first gives the terminal the mode back that it had: the user's own
/// shell does not, when the tool is one of several commands in a pipe.
class kxtools_terminal_guard {
 public:
  kxtools_terminal_guard();
  kxtools_terminal_guard(const kxtools_terminal_guard&) = delete;
  kxtools_terminal_guard& operator=(const kxtools_terminal_guard&) = delete;
  ~kxtools_terminal_guard();

 private:
  static constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};
  static void give_back(int number);

  static termios mode;
  bool terminal_;
  struct sigaction former_[std::size(SIGNALS)];
};
