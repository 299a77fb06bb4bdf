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

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/mount_points.h"
#include "host/process.h"
#include "host/sandbox.h"
#include "host/status.h"
#include "run.h"

namespace {

using namespace vcard;

constexpr const char* usage_text =
    "usage: kxvcard [--card FILE.json] [--log FILE] [--state DIR] -- COMMAND [ARG...]\n"
    "       kxvcard --help | --version\n"
    "\n"
    "Runs COMMAND with a virtual data-processing card plugged in. The command and all its\n"
    "children see the card's PCI functions and network interfaces in /sys and reach the card\n"
    "through BAR 0, configuration space, the driver's ioctl and generic netlink. Nothing\n"
    "outside the command changes.\n"
    "\n"
    "  --card FILE.json  what the card is and what it does wrong; a healthy card without\n"
    "  --log FILE        append one line for everything that the card sees\n"
    "  --state DIR       keep the flash and the command's lock and log folders in DIR\n"
    "                    (tmp/kxtool, tmp/kx_pcie, log); in memory only without\n"
    "\n"
    "The exit status is the command's, 128 plus the signal number when a signal ended it;\n"
    "2: wrong words or card file; 70: the host failed; 77: the host forbids what the virtual\n"
    "card is made of; 126, 127: COMMAND cannot be run or is not found.\n"
    "\n"
    "Needs Linux 5.9 or later with user notification of system calls, mount namespaces and,\n"
    "for other users than root, user namespaces.\n";

struct ValueOption {
  const char* name;
  std::string RunOptions::*value;
};

constexpr ValueOption value_options[] = {
    {"--card", &RunOptions::card}, {"--log", &RunOptions::log}, {"--state", &RunOptions::state}};

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

int run(const RunOptions& options) {
  MountPoints mount_points;
  for (const char* path : {run_lock_folder, pcie_lock_folder}) {
    if (int status = mount_points.hold(path); status != 0) {
      mount_points.release(false);
      return status;
    }
  }
  int parent_pipe[2];
  UniqueFd signals(signals_take());
  if (!signals || pipe2(parent_pipe, O_CLOEXEC) != 0) {
    return host_error(exit_failure, "cannot set up signals: %s", strerror(errno));
  }
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  fflush(nullptr);
  pid_t child = fork();
  if (child == 0) {
    close(parent_pipe[1]);
    signals.reset();
    exit(run_card(options, parent_pipe[0], mount_points));
  }
  close(parent_pipe[0]);
  int status = child < 0 ? host_error(exit_failure, "fork: %s", strerror(errno)) : child_wait(child, signals.get());
  descendants_end();
  mount_points.release(false);
  return status;
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
