// What a wait with a limit says of its end.
#include "common/wait.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(Wait, TellsDoneGoneBusyAndLateApart) {
  const struct {
    std::vector<kx_look> looks;
    kx_waited end;
    size_t taken;
  } rows[] = {
      {{kx_look::done}, kx_waited::done, 1},
      {{kx_look::busy, kx_look::again, kx_look::done}, kx_waited::done, 3},
      {{kx_look::again, kx_look::gone, kx_look::done}, kx_waited::gone, 2},
      {{kx_look::again, kx_look::busy, kx_look::again}, kx_waited::late, 3},
      {{kx_look::again, kx_look::again, kx_look::busy}, kx_waited::busy, 3},
  };
  for (const auto& row : rows) {
    size_t taken = 0;
    EXPECT_EQ(kx_wait({.step_us = 1, .looks = 3}, [&] { return row.looks[taken++]; }), row.end);
    EXPECT_EQ(taken, row.taken);
  }
}

}  // namespace
