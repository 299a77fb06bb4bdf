#include "host/process.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

#include "host/status.h"

namespace vcard {

namespace {

constexpr int taken_signals[] = {SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2, SIGWINCH, SIGALRM};

sigset_t taken_set() {
  sigset_t set;
  sigemptyset(&set);
  for (int number : taken_signals) {
    sigaddset(&set, number);
  }
  return set;
}

/// Sends the offer, with its descriptor, over the socket.
void offer_send(int socket, const Trap::Offer& offer) {
  char control[CMSG_SPACE(sizeof(int))] = {};
  struct iovec data = {const_cast<Trap::Offer*>(&offer), sizeof offer};
  struct msghdr message = {};
  message.msg_iov = &data;
  message.msg_iovlen = 1;
  if (offer.listener >= 0) {
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    struct cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(int));
    memcpy(CMSG_DATA(header), &offer.listener, sizeof(int));
  }
  static_cast<void>(sendmsg(socket, &message, 0));
}

/// Receives what offer_send sent; the error of the offer is set when nothing came.
UniqueFd offer_receive(int socket, Trap::Offer& offer) {
  char control[CMSG_SPACE(sizeof(int))] = {};
  struct iovec data = {&offer, sizeof offer};
  struct msghdr message = {};
  message.msg_iov = &data;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  if (recvmsg(socket, &message, MSG_CMSG_CLOEXEC) != sizeof offer) {
    offer.error = ECONNRESET;
    return {};
  }
  struct cmsghdr* header = CMSG_FIRSTHDR(&message);
  int fd = -1;
  if (header != nullptr && header->cmsg_type == SCM_RIGHTS) {
    memcpy(&fd, CMSG_DATA(header), sizeof fd);
  }
  return UniqueFd(fd);
}

[[noreturn]] void command_run(char** words, int gate, const Trap& trap) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  Trap::Offer offer;
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
    offer.error = errno;
  } else {
    offer = trap.offer();
  }
  offer_send(gate, offer);
  char byte = 0;
  if (offer.error != 0 || read(gate, &byte, 1) != 1) {
    _exit(exit_not_supported);
  }
  if (offer.listener >= 0) {
    close(offer.listener);
  }
  prctl(PR_SET_PDEATHSIG, 0);
  signals_restore();
  execvp(words[0], words);
  int error = errno;
  _exit(host_error(error == ENOENT ? exit_not_found : exit_not_executable, "cannot run %s: %s", words[0],
                   strerror(error)));
}

/// Parent of every process of the system.
std::multimap<pid_t, pid_t> children_by_parent() {
  std::multimap<pid_t, pid_t> children;
  DIR* proc = opendir("/proc");
  if (proc == nullptr) {
    return children;
  }
  while (const struct dirent* entry = readdir(proc)) {
    pid_t pid = static_cast<pid_t>(strtol(entry->d_name, nullptr, 10));
    if (pid <= 0) {
      continue;
    }
    char path[64];
    char text[512];
    snprintf(path, sizeof path, "/proc/%d/stat", pid);
    UniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
    ssize_t length = file ? read(file.get(), text, sizeof text - 1) : -1;
    if (length <= 0) {
      continue;
    }
    text[length] = '\0';
    // "PID (NAME) STATE PARENT ..."; the name may hold blanks and brackets.
    const char* name_end = strrchr(text, ')');
    int parent = 0;
    if (name_end != nullptr && sscanf(name_end, ") %*c %d", &parent) == 1) {
      children.emplace(parent, pid);
    }
  }
  closedir(proc);
  return children;
}

}  // namespace

int command_prepare(char** words, Trap& trap, Command& command) {
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair) != 0) {
    return errno;
  }
  UniqueFd ours(pair[0]);
  UniqueFd its(pair[1]);
  command.pid = fork();
  if (command.pid < 0) {
    return errno;
  }
  if (command.pid == 0) {
    ours.reset();
    command_run(words, its.get(), trap);
  }
  its.reset();
  Trap::Offer offer;
  UniqueFd listener = offer_receive(ours.get(), offer);
  const int error = offer.error != 0 ? offer.error : trap.attach(command.pid, offer, std::move(listener));
  if (error != 0) {
    ours.reset();
    kill(command.pid, SIGKILL);
    while (waitpid(command.pid, nullptr, __WALL) > 0) {
    }
    return error;
  }
  command.gate = std::move(ours);
  return 0;
}

void command_release(Command& command) {
  static_cast<void>(!write(command.gate.get(), "", 1));
  command.gate.reset();
}

std::vector<pid_t> descendants() {
  std::multimap<pid_t, pid_t> children = children_by_parent();
  std::vector<pid_t> found = {getpid()};
  for (size_t i = 0; i < found.size(); ++i) {
    auto [first, last] = children.equal_range(found[i]);
    for (auto child = first; child != last; ++child) {
      found.push_back(child->second);
    }
  }
  found.erase(found.begin());
  return found;
}

void descendants_end() {
  for (;;) {
    pid_t reaped = waitpid(-1, nullptr, __WALL | WNOHANG);
    if (reaped > 0) {
      continue;
    }
    if (reaped < 0 && errno == ECHILD) {
      return;
    }
    for (pid_t pid : descendants()) {
      kill(pid, SIGKILL);
    }
    if (waitpid(-1, nullptr, __WALL) < 0 && errno == ECHILD) {
      return;
    }
  }
}

int signals_take() {
  sigset_t set = taken_set();
  sigprocmask(SIG_BLOCK, &set, nullptr);
  return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

void signals_restore() {
  sigset_t set = taken_set();
  sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

int signal_read(int fd, bool& pass_on) {
  struct signalfd_siginfo info;
  if (read(fd, &info, sizeof info) != sizeof info) {
    return 0;
  }
  // A positive code says that the kernel sent it: the terminal did.
  pass_on = info.ssi_signo != SIGCHLD && info.ssi_code <= 0;
  return static_cast<int>(info.ssi_signo);
}

int exit_status_of(int wait_status) {
  return WIFSIGNALED(wait_status) ? 128 + WTERMSIG(wait_status) : WEXITSTATUS(wait_status);
}

}  // namespace vcard
