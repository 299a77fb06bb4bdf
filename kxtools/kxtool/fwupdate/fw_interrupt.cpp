#include "fw_interrupt.h"

#include <atomic>
#include <csignal>

namespace {

// The signal may arrive on any thread.
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
  sigaction(SIGINT, &action, nullptr);
}

bool fw_interrupt_is_raised() {
  return interrupt_raised;
}
