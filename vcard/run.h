// One run of a command under the virtual card.
#pragma once

#include <memory>
#include <string>

#include "host/room.h"

namespace vcard {

struct RunOptions {
  std::string card;           // path of the card file, "" for a healthy card
  std::string log;            // path of the request log, "" for none
  std::string state;          // folder for what outlives the run, "" for none
  std::string room = "auto";  // auto, mount, user, paths
  std::string trap = "auto";  // auto, notify, ptrace
  char** command = nullptr;
};

/// How one process tries to run it.
struct Attempt {
  std::unique_ptr<Room> room;
  const char* room_name = "";
  std::string refusals;  // of the rooms that were tried before, for the line about them
  int parent = -1;       // hangs up when the process that started this one ends, which ends the run
  int refusal = -1;      // takes the reason when the host does not allow the room; nothing is printed then
};

/// Builds the card, runs the command under it and returns the exit status. Called in a process of its own.
int run_card(const RunOptions& options, const Attempt& attempt);

/// Room and trap words of RunOptions that exist.
bool room_is_known(const std::string& name);
bool trap_is_known(const std::string& name);

}  // namespace vcard
