// Signals around work: kept for its end, held back, or taking effect as if nothing had been there.
#include "common/signals.h"

#include <gtest/gtest.h>

namespace {

void (*handler_of(int number))(int) {
  struct sigaction action = {};
  sigaction(number, nullptr, &action);
  return action.sa_handler;
}

TEST(SignalGuard, RaisesAFlagAndPutsTheFormerTreatmentBack) {
  {
    const kx_signal_guard guard;
    EXPECT_EQ(kx_signal_guard::raised(), 0);
    {
      const kx_signal_guard inner;
      raise(SIGINT);
    }
    EXPECT_EQ(kx_signal_guard::raised(), SIGINT) << "the end of an inner guard answers nothing";
    EXPECT_EQ(handler_of(SIGPIPE), SIG_IGN);
  }
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) {
    EXPECT_EQ(handler_of(number), SIG_DFL) << number;
  }
  const kx_signal_guard next;
  EXPECT_EQ(kx_signal_guard::raised(), 0) << "a new command begins without the former one's signal";
}

TEST(SignalGuard, SignalsTakeEffectWhenTheWorkIsOver) {
  for (const int number : {SIGTERM, SIGHUP, SIGQUIT}) {
    EXPECT_EXIT(
        {
          const kx_signal_guard guard;
          raise(number);
          printf("told\n");
        },
        testing::KilledBySignal(number), "")
        << number;
  }
}

TEST(SignalGuard, WhatIsIgnoredStaysSoButForControlC) {
  for (const int number : {SIGINT, SIGHUP}) {
    signal(number, SIG_IGN);
    {
      const kx_signal_guard guard;
      raise(number);
      EXPECT_EQ(kx_signal_guard::raised(), number == SIGINT ? SIGINT : 0);
    }
    EXPECT_EQ(handler_of(number), SIG_IGN);
    signal(number, SIG_DFL);
  }
}

TEST(SignalHold, HoldsAllButFaultsUntilItsEnd) {
  const kx_signal_guard guard;
  {
    const kx_signal_hold hold;
    raise(SIGTERM);
    EXPECT_EQ(kx_signal_guard::raised(), 0);
    sigset_t held;
    pthread_sigmask(SIG_SETMASK, nullptr, &held);
    EXPECT_EQ(sigismember(&held, SIGBUS), 0);
  }
  EXPECT_EQ(kx_signal_guard::raised(), SIGTERM);
  raise(SIGINT);  // answered last: the guard ends nothing
}

}  // namespace
