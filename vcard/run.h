// One run of a command under the virtual card.
#pragma once

#include <string>

namespace vcard {

class MountPoints;

struct RunOptions {
  std::string card;   // path of the card file, "" for a healthy card
  std::string log;    // path of the request log, "" for none
  std::string state;  // folder for what outlives the run, "" for none
  char** command = nullptr;
};

/// Builds the card, runs the command under it and returns the exit status. Called in a process of its own; `parent` is
/// a descriptor that hangs up when the process that started it ends, which ends the run.
int run_card(const RunOptions& options, int parent, MountPoints& mount_points);

}  // namespace vcard
