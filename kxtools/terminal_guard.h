// The terminal's mode while the line editor has it.
#pragma once

#include <termios.h>

#include <optional>

#include "common/signals.h"

/// While one exists, a signal that ends the tool first gives the terminal the mode back that it had: the user's own
/// shell does not, when the tool is one of several commands in a pipe.
class kxtools_terminal_guard {
 public:
  kxtools_terminal_guard();

 private:
  static void give_back(int number);

  static termios mode;
  std::optional<kx_signal_treatment> treatment_;  // on a terminal
};
