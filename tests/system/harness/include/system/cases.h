// Tables of runs: a card, words, and everything that is seen from outside.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "line_numbers.h"
#include "system/process.h"

namespace kx_system {

struct Case {
  std::string card;
  std::string words;  // of the tool, with blanks between them
  int status;
  std::string out;  // with # for every line number in brackets
  std::string err = "";
};

/// Runs one case, checks status and both streams, and gives back the rest.
inline Result check(const Case& c, Command command = {}) {
  SCOPED_TRACE(c.card + " :: " + c.words);
  command.card = c.card;
  command.words = words_of(c.words);
  Result result = run(command);
  EXPECT_EQ(result.status, c.status);
  EXPECT_EQ(without_line_numbers(result.out), c.out);
  EXPECT_EQ(without_line_numbers(result.err), c.err);
  return result;
}

}  // namespace kx_system
