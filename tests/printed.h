// Standard output as a value.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

/// Standard output, caught as long as this lives. A test that failed has it, with the lines of the failure, on standard
/// error.
class caught_output {
 public:
  caught_output() {
    testing::internal::CaptureStdout();
  }
  caught_output(const caught_output&) = delete;
  caught_output& operator=(const caught_output&) = delete;
  ~caught_output() {
    const std::string text = testing::internal::GetCapturedStdout();
    if (testing::Test::HasFailure()) {
      fputs(text.c_str(), stderr);
    }
  }
  /// What was printed since the last call.
  static std::string take() {
    std::string text = testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    return text;
  }
};

/// What `run` prints on standard output.
template <typename Run>
std::string printed(Run&& run) {
  const caught_output caught;
  run();
  return caught.take();
}
