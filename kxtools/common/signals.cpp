#include "common/signals.h"

#include <atomic>
#include <cstdio>

namespace {

// A signal may arrive on any thread.
std::atomic<int> raised_signal = 0;
static_assert(std::atomic<int>::is_always_lock_free);
int guards = 0;  // that live, on the command's thread

void on_signal(int number) {
  raised_signal = number;
}

constexpr int PIPE[] = {SIGPIPE};

}  // namespace

kx_signal_hold::kx_signal_hold() {
  sigset_t held;
  sigfillset(&held);
  // A fault that is held back ends the process at once: its handler must run.
  for (const int fault : {SIGBUS, SIGSEGV, SIGFPE, SIGILL}) {
    sigdelset(&held, fault);
  }
  pthread_sigmask(SIG_BLOCK, &held, &former_);
}

kx_signal_hold::kx_signal_hold(int signal) {
  sigset_t held;
  sigemptyset(&held);
  sigaddset(&held, signal);
  pthread_sigmask(SIG_BLOCK, &held, &former_);
}

kx_signal_hold::~kx_signal_hold() {
  pthread_sigmask(SIG_SETMASK, &former_, nullptr);
}

kx_signal_treatment::kx_signal_treatment(std::span<const int> signals, void (*handler)(int), int flags, int always)
    : signals_(signals) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigemptyset(&action.sa_mask);
  for (size_t i = 0; i < signals_.size(); ++i) {
    sigaction(signals_[i], nullptr, &former_[i]);
    if (signals_[i] == always || former_[i].sa_handler != SIG_IGN) {
      sigaction(signals_[i], &action, nullptr);
    }
  }
}

kx_signal_treatment::~kx_signal_treatment() {
  for (size_t i = 0; i < signals_.size(); ++i) {
    sigaction(signals_[i], &former_[i], nullptr);
  }
}

kx_signal_guard::kx_signal_guard() {
  if (guards++ == 0) {
    raised_signal = 0;
  }
  ending_.emplace(KX_END_SIGNALS, on_signal, SA_RESTART, SIGINT);
  pipe_.emplace(PIPE, SIG_IGN, 0);
}

kx_signal_guard::~kx_signal_guard() {
  ending_.reset();
  pipe_.reset();
  const int number = raised_signal;
  if (--guards == 0 && number != 0) {
    raised_signal = 0;
    if (number != SIGINT) {
      fflush(stdout);  // what was said before the end
      raise(number);
    }
  }
}

int kx_signal_guard::raised() {
  return raised_signal;
}
