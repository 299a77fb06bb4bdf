// Texts that the tests of the framework share.
#pragma once

#include <regex>
#include <string>

#include "line_numbers.h"
#include "system/process.h"

inline const std::string RULE = "-----------------------------------------------------\n";
inline const std::string DEVICE_LIST = RULE + RULE;

/// `text` with nothing between the two rules of each device list, whose layout is its printer's affair.
inline std::string without_devices(const std::string& text) {
  return std::regex_replace(text, std::regex(RULE + "[^]*?" + RULE), DEVICE_LIST);
}

/// Runs the shell with `input` on a pipe, or in a file; its output without line numbers and devices.
inline kx_system::Result shell_run(const std::string& input, const std::string& card = "{}", bool is_file = false) {
  kx_system::Result result = kx_system::run({.card = card, .input = input, .input_is_file = is_file});
  result.out = without_devices(without_line_numbers(result.out));
  return result;
}

inline const std::string ASK = "Please enter index: ";
inline const std::string SERIAL_NUMBER = "sn=KX2601A00042\n";
