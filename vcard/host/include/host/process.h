// Processes: the command under the card, what it leaves behind, and the signals on the way to it.
#pragma once

#include <sys/types.h>

#include <vector>

#include "host/trap.h"
#include "host/unique_fd.h"

namespace vcard {

/// The command, stopped right before it becomes the program: its system calls are already caught.
struct Command {
  pid_t pid = -1;
  UniqueFd gate;  // one byte lets it run
};

/// Forks the command. 0, or the errno with which its calls cannot be caught, and then it is gone.
int command_prepare(char** words, Trap& trap, Command& command);
/// Lets it become the program.
void command_release(Command& command);

/// All processes below this one, children of children included.
std::vector<pid_t> descendants();
/// Kills and reaps every process below this one. Needs PR_SET_CHILD_SUBREAPER, so that none escapes to init.
void descendants_end();

/// Blocks the signals that are passed on or waited for and returns a signalfd for them. What a terminal sends to its
/// whole foreground group (interrupt, quit) is read from it too, see signal_read. -1 with errno.
int signals_take();
/// Undoes signals_take in a forked child.
void signals_restore();

/// Reads one signal from the descriptor; 0 when there is none. `pass_on` says whether the command has to be sent it: a
/// signal from the terminal already reached every process of the foreground group, so it is not sent a second time.
int signal_read(int fd, bool& pass_on);

/// The exit status that stands for a wait status: the command's own, or 128 plus the signal that ended it.
int exit_status_of(int wait_status);

}  // namespace vcard
