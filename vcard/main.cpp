// kxvcard: runs a command with a virtual card plugged in.
//
// Two processes: this one stays in the host's view of the file system, passes signals on and clears up; its child
// builds the card and serves it to the command. Each ends what is left when the other is killed.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "host/mount_points.h"
#include "host/private_folder.h"
#include "host/process.h"
#include "host/room.h"
#include "host/status.h"
#include "run.h"

namespace {

using namespace vcard;

constexpr const char* usage_text =
    "usage: kxvcard [--card FILE.json] [--log FILE] [--state DIR] [--room ROOM] [--trap TRAP]\n"
    "               -- COMMAND [ARG...]\n"
    "       kxvcard --help | --version\n"
    "\n"
    "Runs COMMAND with a virtual data-processing card plugged in. The command and all its\n"
    "children see the card's PCI functions and network interfaces in /sys and reach the card\n"
    "through BAR 0, configuration space, the driver's ioctl and generic netlink. Nothing\n"
    "outside the command changes.\n"
    "\n"
    "  --card FILE.json  what the card is and what it does wrong, also in a bundle of kxreport;\n"
    "                    a healthy card without\n"
    "  --log FILE        append one line for everything that the card sees\n"
    "  --state DIR       keep the flash and the command's lock and log folders in DIR\n"
    "                    (tmp/kxtool, tmp/kx_pcie, log); in memory only without\n"
    "  --room ROOM       how the command comes to see the card's files: mount (a mount namespace),\n"
    "                    user (a user namespace first), paths (its calls that name a path are\n"
    "                    caught); auto, the default: the first of them that the host allows\n"
    "  --trap TRAP       how calls are caught: notify (seccomp user notification), ptrace; auto\n"
    "                    as above. A line on standard error tells of a room or trap that is not\n"
    "                    the first\n"
    "\n"
    "The exit status is the command's, 128 plus the signal number when a signal ended it;\n"
    "2: wrong words or card file; 70: the host failed; 77: the host forbids what the virtual\n"
    "card is made of; 126, 127: COMMAND cannot be run or is not found.\n"
    "\n"
    "Needs Linux 5.9 or later, and user notification of system calls or ptrace.\n";

struct ValueOption {
  const char* name;
  std::string RunOptions::*value;
};

constexpr ValueOption value_options[] = {{"--card", &RunOptions::card},
                                         {"--log", &RunOptions::log},
                                         {"--state", &RunOptions::state},
                                         {"--room", &RunOptions::room},
                                         {"--trap", &RunOptions::trap}};

/// 0 and a command, or an exit status; -1 when the run is over well (help, version).
int options_parse(char** words, RunOptions& options) {
  for (++words; *words != nullptr; ++words) {
    const char* word = *words;
    if (strcmp(word, "--") == 0) {
      options.command = words + 1;
      break;
    }
    if (strcmp(word, "--help") == 0 || strcmp(word, "-h") == 0) {
      fputs(usage_text, stdout);
      return -1;
    }
    if (strcmp(word, "--version") == 0) {
      puts("kxvcard " KXVCARD_VERSION);
      return -1;
    }
    const ValueOption* option = nullptr;
    for (const ValueOption& row : value_options) {
      option = strcmp(word, row.name) == 0 ? &row : option;
    }
    if (option == nullptr) {
      return host_error(exit_usage, "what is '%s'? (kxvcard --help; the command comes after --)", word);
    }
    if (words[1] == nullptr || strcmp(words[1], "--") == 0) {
      return host_error(exit_usage, "%s needs a value", word);
    }
    options.*(option->value) = *++words;
  }
  if (!room_is_known(options.room) || !trap_is_known(options.trap)) {
    return host_error(
        exit_usage, "there is no %s (kxvcard --help)",
        room_is_known(options.room) ? ("trap " + options.trap).c_str() : ("room " + options.room).c_str());
  }
  if (options.command == nullptr || *options.command == nullptr) {
    return host_error(exit_usage, "no command (kxvcard [--card FILE.json] [--log FILE] -- COMMAND [ARG...])");
  }
  return 0;
}

/// Waits for the child and passes signals on to it.
int child_wait(pid_t child, int signals) {
  for (;;) {
    struct pollfd entry = {signals, POLLIN, 0};
    poll(&entry, 1, -1);
    bool pass_on = false;
    while (int number = signal_read(signals, pass_on)) {
      if (pass_on) {
        kill(child, number);
      }
      int wait_status;
      while (number == SIGCHLD) {
        pid_t pid = waitpid(-1, &wait_status, WNOHANG);
        if (pid <= 0) {
          break;
        }
        if (pid == child) {
          return exit_status_of(wait_status);
        }
      }
    }
  }
}

/// What the host holds for a room: everything of it is given back, whichever process is left to do so.
class Holdings {
 public:
  std::string make(const std::string& room) {
    if (room == "paths") {
      return folder_.make();
    }
    for (const char* path : {run_lock_folder, pcie_lock_folder}) {
      if (std::string refusal = mount_points_.hold(path); !refusal.empty()) {
        return refusal;
      }
    }
    return "";
  }
  /// With `unmount` this process is the one inside the room.
  void release(bool unmount) {
    mount_points_.release(unmount);
    folder_.remove();
  }
  const std::string& folder() const {
    return folder_.path();
  }

 private:
  MountPoints mount_points_;
  PrivateFolder folder_;
};

std::unique_ptr<Room> room_make(const std::string& name, const std::string& folder) {
  return name == "mount" ? mount_room() : name == "user" ? user_room() : paths_room(folder);
}

/// The serving process.
[[noreturn]] void child_run(const RunOptions& options, Attempt& attempt, Holdings& holdings) {
  attempt.room = room_make(attempt.room_name, holdings.folder());
  const int status = run_card(options, attempt);
  struct pollfd alone = {attempt.parent, POLLIN, 0};
  if (poll(&alone, 1, 0) > 0) {
    holdings.release(true);  // the process that would do it is gone
  }
  exit(status);
}

/// One room. The exit status of the run, or why the host does not allow the room.
int room_try(const RunOptions& options, Attempt& attempt, int signals, std::string& refusal) {
  Holdings holdings;
  int life[2], reason[2];
  refusal = holdings.make(attempt.room_name);
  if (!refusal.empty()) {
    holdings.release(false);
    return exit_not_supported;
  }
  if (pipe2(life, O_CLOEXEC) != 0 || pipe2(reason, O_CLOEXEC) != 0) {
    return host_error(exit_failure, "pipe: %s", strerror(errno));
  }
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    close(life[1]);
    close(reason[0]);
    close(signals);
    attempt.parent = life[0];
    attempt.refusal = reason[1];
    child_run(options, attempt, holdings);
  }
  const UniqueFd ours(life[1]), reader(reason[0]);
  close(life[0]);
  close(reason[1]);
  int status = child < 0 ? host_error(exit_failure, "fork: %s", strerror(errno)) : child_wait(child, signals);
  descendants_end();
  char text[1024];
  const ssize_t length = child < 0 ? 0 : read(reader.get(), text, sizeof text);
  refusal.assign(text, static_cast<size_t>(std::max<ssize_t>(length, 0)));
  holdings.release(false);
  return status;
}

int run(const RunOptions& options) {
  const UniqueFd signals(signals_take());
  if (!signals) {
    return host_error(exit_failure, "cannot set up signals: %s", strerror(errno));
  }
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  Attempt attempt;
  for (const char* name : {"mount", "user", "paths"}) {
    if (options.room != "auto" && options.room != name) {
      continue;
    }
    attempt.room_name = name;
    std::string refusal;
    const int status = room_try(options, attempt, signals.get(), refusal);
    if (refusal.empty()) {
      return status;
    }
    attempt.refusals += (attempt.refusals.empty() ? "" : "; ") + (name + (": " + refusal));
  }
  return host_error(exit_not_supported, "the host has no room for a card (%s)", attempt.refusals.c_str());
}

}  // namespace

int main(int, char** words) {
  RunOptions options;
  int status = options_parse(words, options);
  if (status != 0) {
    return status < 0 ? 0 : status;
  }
  return run(options);
}
