// Tables of runs: a card, words, and everything that is seen from outside.
#pragma once

#include <gtest/gtest.h>

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
  std::string result;
  for (size_t i = 0; i < text.size();) {
    const size_t end = text.find_first_not_of("0123456789", i + 2);
    if (text.compare(i, 2, "][") == 0 && end != i + 2 && end < text.size() && text[end] == ']') {
      result += "][N";
      i = end;
    } else {
      result += text[i++];
    }
  }
  return result;
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
