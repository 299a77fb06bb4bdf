// Runs a command of the driver's table by name.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../../line_numbers.h"
#include "dpp_diag/dpp_cmd.h"

namespace diag_test {

struct run_result {
  uint32_t code;
  std::string out;
};

inline run_result command(const char* name, const std::vector<uint32_t>& values = {}) {
  const DppCmdEntry* entry = dpp_cmd_find(name);
  if (entry == nullptr) {
    ADD_FAILURE() << name << " is not in the table";
    return {};
  }
  DppCmdArgs args;
  for (const uint32_t value : values) {
    args.value[args.num++] = value;
  }
  testing::internal::CaptureStdout();
  const uint32_t code = entry->func(*entry, args);
  return {code, without_line_numbers(testing::internal::GetCapturedStdout())};
}

/// The text of a command that must succeed.
inline std::string text(const char* name, const std::vector<uint32_t>& values = {}) {
  const run_result result = command(name, values);
  EXPECT_EQ(result.code, 0u) << name << "\n" << result.out;
  return result.out;
}

}  // namespace diag_test
