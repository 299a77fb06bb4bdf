#include "terminal_guard.h"

#include <unistd.h>

termios kxtools_terminal_guard::mode;

kxtools_terminal_guard::kxtools_terminal_guard() : terminal_(tcgetattr(STDIN_FILENO, &mode) == 0) {
  if (!terminal_) {
    return;
  }
  struct sigaction action = {};
  action.sa_handler = give_back;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
  for (size_t i = 0; i < std::size(SIGNALS); ++i) {
    sigaction(SIGNALS[i], nullptr, &former_[i]);
    if (former_[i].sa_handler != SIG_IGN) {
      sigaction(SIGNALS[i], &action, nullptr);
    }
  }
}

kxtools_terminal_guard::~kxtools_terminal_guard() {
  for (size_t i = 0; terminal_ && i < std::size(SIGNALS); ++i) {
    sigaction(SIGNALS[i], &former_[i], nullptr);
  }
}

void kxtools_terminal_guard::give_back(int number) {
  tcsetattr(STDIN_FILENO, TCSANOW, &mode);
  raise(number);
}
