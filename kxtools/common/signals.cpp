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

struct sigaction action_of(void (*handler)(int), int flags) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigemptyset(&action.sa_mask);
  return action;
}

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

kx_signal_treatment::kx_signal_treatment(std::span<const int> signals, void (*handler)(int), int flags)
    : signals_(signals) {
  const struct sigaction action = action_of(handler, flags);
  for (size_t i = 0; i < signals_.size(); ++i) {
    sigaction(signals_[i], nullptr, &former_[i]);
    if (former_[i].sa_handler != SIG_IGN) {
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
  const struct sigaction action = action_of(on_signal, SA_RESTART);
  for (size_t i = 0; i < std::size(KX_END_SIGNALS); ++i) {
    sigaction(KX_END_SIGNALS[i], nullptr, &former_[i]);
    if (KX_END_SIGNALS[i] == SIGINT || former_[i].sa_handler != SIG_IGN) {
      sigaction(KX_END_SIGNALS[i], &action, nullptr);
    }
  }
  const struct sigaction ignore = action_of(SIG_IGN, 0);
  sigaction(SIGPIPE, &ignore, &former_pipe_);
}

kx_signal_guard::~kx_signal_guard() {
  for (size_t i = 0; i < std::size(KX_END_SIGNALS); ++i) {
    sigaction(KX_END_SIGNALS[i], &former_[i], nullptr);
  }
  sigaction(SIGPIPE, &former_pipe_, nullptr);
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
