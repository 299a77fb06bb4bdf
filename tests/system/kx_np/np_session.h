// Sessions of kxnp commands as super user on the virtual card. The lines between the outputs are commands that succeed,
// so the exit status of a session is that of its commands.
#pragma once

#include <string>
#include <vector>

#include "system/process.h"

namespace np_session {

struct Session {
  kx_system::Result result;
  std::vector<std::string> outputs;  // of each line, in order
};

/// Runs "kxnp LINE" for each line.
Session run(const std::string& card, const std::vector<std::string>& lines);

/// A good line of each command.
struct GoodWords {
  const char* name;
  const char* words;
  bool prints;  // on a card that holds some packets and drops
};
const std::vector<GoodWords>& good_words();

}  // namespace np_session
