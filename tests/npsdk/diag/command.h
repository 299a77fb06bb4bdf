// A command of the table on the memory-backed device, and what it printed.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "dpp_diag/dpp_cmd.h"

namespace diag_test {

struct run_result {
  uint32_t code;
  std::string out;
};

// Line numbers of the source in traces become #.
inline std::string without_lines(std::string text) {
  for (const std::string suffix : {".cpp:", ".rows:"}) {
    for (size_t at = text.find(suffix); at != std::string::npos; at = text.find(suffix, at + 1)) {
      const size_t first = at + suffix.size();
      text.replace(first, text.find_first_not_of("0123456789", first) - first, 1, '#');
    }
  }
  return text;
}

inline run_result command(const char* name, std::initializer_list<uint32_t> values) {
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
  return {code, without_lines(testing::internal::GetCapturedStdout())};
}

}  // namespace diag_test
