// Sessions of the tool's shell on the virtual card: a list of lines in, the output of each line out.
#pragma once

#include <span>
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
  const char* line;
  const char* shows;  // stands in its output; empty: it prints nothing
};
/// Runs the lines, each behind `prefix`, as super user, and expects what they show.
void expect_shows(const std::string& card, const std::string& prefix, std::span<const Row> rows);

/// The same words one-shot: kxtool bind 0000:3b:00.0 WORDS...
kx_system::Result one_shot(const std::string& card, const std::string& words);

/// Text without terminal colours.
std::string plain(const std::string& text);

}  // namespace session
