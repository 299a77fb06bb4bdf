#include "fw_interrupt.h"

#include <atomic>
#include <csignal>

namespace {

// The user, a closed terminal, a shutdown. They may arrive on any thread.
constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
std::atomic<bool> interrupt_raised = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void on_interrupt(int) {
  interrupt_raised = true;
}

}  // namespace

void fw_interrupt_install() {
  interrupt_raised = false;
  struct sigaction action = {};
  action.sa_handler = on_interrupt;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  for (const int number : SIGNALS) {
    struct sigaction former = {};
    sigaction(number, nullptr, &former);
    // What is ignored, as by nohup, stays ignored. A background job of a script must still be interruptible.
    if (number == SIGINT || former.sa_handler != SIG_IGN) {
      sigaction(number, &action, nullptr);
    }
  }
  // Who stops reading what is printed does not stop the flash half-way.
  signal(SIGPIPE, SIG_IGN);
}

bool fw_interrupt_is_raised() {
  return interrupt_raised;
}
