// Tables of runs: a card, words, and everything that is seen from outside.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "line_numbers.h"
#include "system/process.h"

namespace kx_system {

/// What a text must be: a plain text is the whole of it.
using Shows = testing::Matcher<const std::string&>;

struct Case {
  std::string card;
  std::string words;  // of the tool, with blanks between them
  int status;
  Shows out;  // with # for every line number in brackets
  Shows err = "";
};

/// Runs one case, as `command` says otherwise, checks status and both streams, and gives back the rest.
inline Result check(const Case& c, Command command = {}) {
  SCOPED_TRACE(c.card + " :: " + c.words);
  command.card = c.card;
  command.words = words_of(c.words);
  Result result = run(command);
  EXPECT_EQ(result.status, c.status);
  EXPECT_THAT(without_line_numbers(result.out), c.out);
  EXPECT_THAT(without_line_numbers(result.err), c.err);
  return result;
}

inline void check_all(const std::vector<Case>& cases, const Command& command = {}) {
  for (const Case& c : cases) {
    check(c, command);
  }
}

}  // namespace kx_system
