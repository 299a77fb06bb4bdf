// Sessions of kxnp commands as super user on the virtual card.
#pragma once

#include "../card_memory/session.h"

/// Runs "kxnp COMMAND" for each command.
inline session::Session kxnp(const std::string& card, const std::vector<std::string>& commands) {
  std::vector<std::string> lines;
  for (const std::string& command : commands) {
    lines.push_back("kxnp " + command);
  }
  return session::run(card, lines, true);
}
