// Commands of the driver table, run by name on the virtual card's network processor.
#pragma once

#include "../diag/command.h"
#include "../reg/card_device.h"

using diag_test::command;
using diag_test::run_result;
using diag_test::text;

using CommandsOnCard = OnVirtualCard;

inline testing::AssertionResult holds(const std::string& text, const std::string& part) {
  if (text.find(part) != std::string::npos) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << "'" << part << "' is not in:\n" << text;
}
