// Signals that wait while something must not be interrupted half-way.
#pragma once

#include <csignal>

/// Holds one signal, or all of them, back from the calling thread for as long as it lives.
class kx_signal_hold {
 public:
  kx_signal_hold() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &former_);
  }
  explicit kx_signal_hold(int signal) {
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal);
    pthread_sigmask(SIG_BLOCK, &one, &former_);
  }
  kx_signal_hold(const kx_signal_hold&) = delete;
  kx_signal_hold& operator=(const kx_signal_hold&) = delete;
  ~kx_signal_hold() {
    pthread_sigmask(SIG_SETMASK, &former_, nullptr);
  }

 private:
  sigset_t former_;
};
