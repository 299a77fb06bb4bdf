// Sessions of the tool's shell on the virtual card: a list of lines in, the output of each line out.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "system/process.h"

namespace session {

struct Session {
  kx_system::Result result;
  std::string before;                // device list and what binding printed
  std::vector<std::string> outputs;  // of each line, in order
};

/// Binds the first function of the list, becomes super user when asked to, runs `lines` and quits.
Session run(const std::string& card, const std::vector<std::string>& lines, bool super = false);

struct Row {
  std::string line;
  testing::Matcher<const std::string&> shows;  // its output without colours; a plain text is the whole of it
};
/// Runs the lines, each behind `prefix`, and expects what they show.
Session expect_shows(const std::string& card, const std::string& prefix, const std::vector<Row>& rows,
                     bool super = false);

/// One line in the shell of a super user, and what it printed.
std::string line_run(const std::string& card, const std::string& line);

/// The same words one-shot: kxtool bind 0000:3b:00.0 WORDS...
kx_system::Result one_shot(const std::string& card, const std::string& words);

/// Text without terminal colours.
std::string plain(const std::string& text);

}  // namespace session
