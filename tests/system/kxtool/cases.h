// Tables of runs: a card, words, and everything that is seen from outside.
#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

#include "system/process.h"

namespace kx_system {

struct Case {
  std::string card;
  std::vector<std::string> words;
  int status;
  std::string out;  // with N for every line number in brackets
  std::string err = "";
};

/// Line numbers change with every edit of a source; everything else in a line is the tool's word.
inline std::string numbered(const std::string& text) {
  static const std::regex line_number(R"(\]\[[0-9]+\])");
  return std::regex_replace(text, line_number, "][N]");
}

inline std::string shown(const Case& c) {
  std::string text = c.card + " ::";
  for (const std::string& word : c.words) {
    text += " " + word;
  }
  return text;
}

/// Runs one case, checks status and both streams, and gives back the rest.
inline Result check(const Case& c, Command command = {}) {
  SCOPED_TRACE(shown(c));
  command.card = c.card;
  command.words = c.words;
  Result result = run(command);
  EXPECT_EQ(result.status, c.status);
  EXPECT_EQ(numbered(result.out), c.out);
  EXPECT_EQ(numbered(result.err), c.err);
  return result;
}

}  // namespace kx_system
