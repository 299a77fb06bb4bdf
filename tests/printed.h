// Standard output as a value.
#pragma once

#include <gtest/gtest.h>

#include <string>

/// What `run` prints on standard output.
template <typename Run>
std::string printed(Run&& run) {
  testing::internal::CaptureStdout();
  run();
  return testing::internal::GetCapturedStdout();
}
