#include "interrupt.h"

#include <atomic>
#include <csignal>
#include <iterator>

namespace {

constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// The signal may arrive on any thread.
constinit std::atomic<int> raised_signal = 0;
static_assert(std::atomic<int>::is_always_lock_free);

struct sigaction former[std::size(SIGNALS)];

void on_signal(int number) {
  raised_signal = number;
}

}  // namespace

dpp_interrupt_guard::dpp_interrupt_guard() {
  raised_signal = 0;
  struct sigaction action = {};
  action.sa_handler = on_signal;
  action.sa_flags = SA_RESTART;
  sigfillset(&action.sa_mask);
  for (size_t i = 0; i < std::size(SIGNALS); ++i) {
    sigaction(SIGNALS[i], &action, &former[i]);
  }
}

dpp_interrupt_guard::~dpp_interrupt_guard() {
  for (size_t i = 0; i < std::size(SIGNALS); ++i) {
    sigaction(SIGNALS[i], &former[i], nullptr);
  }
  if (const int number = raised_signal; number != 0 && number != SIGINT) {
    raise(number);
  }
}

bool dpp_interrupt_guard::raised() {
  return raised_signal != 0;
}
