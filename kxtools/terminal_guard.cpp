#include "terminal_guard.h"

#include <unistd.h>

namespace {

constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE};

}  // namespace

termios kxtools_terminal_guard::mode;

kxtools_terminal_guard::kxtools_terminal_guard() {
  if (tcgetattr(STDIN_FILENO, &mode) == 0) {
    treatment_.emplace(SIGNALS, give_back, static_cast<int>(SA_RESETHAND | SA_NODEFER));
  }
}

void kxtools_terminal_guard::give_back(int number) {
  tcsetattr(STDIN_FILENO, TCSANOW, &mode);
  raise(number);
}
