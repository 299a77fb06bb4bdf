#include <gtest/gtest.h>

#include <cstdio>

#include "system/process.h"

namespace {

constexpr int skipped = 77;

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!testing::GTEST_FLAG(list_tests)) {
    kx_system::Result probe = kx_system::run({.program = "true"});
    if (probe.status == skipped) {
      printf("skipped: %s", probe.err.c_str());
      return skipped;
    }
  }
  return RUN_ALL_TESTS();
}
