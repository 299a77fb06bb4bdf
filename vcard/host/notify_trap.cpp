// Seccomp user notification: the kernel hands a caught call over and lets its thread wait.
#include <fcntl.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "borrowed_thread.h"
#include "host/trap.h"

namespace vcard {

namespace {

struct Ended {
  pid_t pid;
  int status;
};

class NotifiedCall final : public TrappedCall {
 public:
  NotifiedCall(int listener, std::vector<Ended>& ended) : listener_(listener), ended_(ended) {}

  /// Takes the next call. False when it is gone already.
  bool receive();

  void finish(int64_t value) override {
    answer(std::max<int64_t>(value, 0), static_cast<int>(std::min<int64_t>(value, 0)), 0);
  }
  void pass_on() override {
    answer(0, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE);
  }
  UniqueFd finish_with_socket(int flags, std::string& target) override;
  UniqueFd finish_connected(int fd) override;
  void finish_with_file(const std::string& path, int flags, mode_t mode) override;
  void finish_in_folder(const std::string& path) override;

 private:
  bool is_alive() const override {
    return ioctl(listener_, SECCOMP_IOCTL_NOTIF_ID_VALID, &notification_.id) == 0;
  }
  void answer(int64_t value, int error, uint32_t flags) const;
  /// Puts `fd` into the caller's table, in the place of its descriptor `over` unless that is negative. Its number
  /// there, or -errno.
  int descriptor_give(int fd, bool close_on_exec, int over = -1) const;
  void folder_change(int fd);

  int listener_;
  std::vector<Ended>& ended_;
  struct seccomp_notif notification_ = {};
};

bool NotifiedCall::receive() {
  if (ioctl(listener_, SECCOMP_IOCTL_NOTIF_RECV, &notification_) != 0) {
    return false;
  }
  number_ = notification_.data.nr;
  thread_ = static_cast<pid_t>(notification_.pid);
  std::copy(std::begin(notification_.data.args), std::end(notification_.data.args), arguments_.begin());
  return true;
}

void NotifiedCall::answer(int64_t value, int error, uint32_t flags) const {
  struct seccomp_notif_resp response = {};
  response.id = notification_.id;
  response.val = value;
  response.error = error;
  response.flags = flags;
  // A caller that died meanwhile needs no answer.
  static_cast<void>(ioctl(listener_, SECCOMP_IOCTL_NOTIF_SEND, &response));
}

int NotifiedCall::descriptor_give(int fd, bool close_on_exec, int over) const {
  struct seccomp_notif_addfd add = {};
  add.id = notification_.id;
  add.flags = over >= 0 ? SECCOMP_ADDFD_FLAG_SETFD : 0;
  add.newfd = over >= 0 ? static_cast<uint32_t>(over) : 0;
  add.srcfd = static_cast<uint32_t>(fd);
  add.newfd_flags = close_on_exec ? O_CLOEXEC : 0;
  const int number = ioctl(listener_, SECCOMP_IOCTL_NOTIF_ADDFD, &add);
  return number >= 0 ? number : errno == EMFILE ? -EMFILE : -ENFILE;
}

/// False, with errno, when there is none.
bool pair_open(UniqueFd& card_end, UniqueFd& command_end) {
  int pair[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, pair) != 0) {
    return false;
  }
  card_end = UniqueFd(pair[0]);
  command_end = UniqueFd(pair[1]);
  return true;
}

UniqueFd NotifiedCall::finish_with_socket(int flags, std::string& target) {
  UniqueFd card_end;
  UniqueFd command_end;
  if (!pair_open(card_end, command_end)) {
    fail(errno);
    return {};
  }
  if ((flags & SOCK_NONBLOCK) != 0) {
    fcntl(command_end.get(), F_SETFL, O_NONBLOCK);
  }
  struct stat status;
  fstat(command_end.get(), &status);
  target = "socket:[" + std::to_string(status.st_ino) + "]";
  const int number = descriptor_give(command_end.get(), (flags & SOCK_CLOEXEC) != 0);
  finish(number);
  return number >= 0 ? std::move(card_end) : UniqueFd();
}

UniqueFd NotifiedCall::finish_connected(int fd) {
  UniqueFd card_end;
  UniqueFd command_end;
  if (!pair_open(card_end, command_end)) {
    fail(errno);
    return {};
  }
  const int number = descriptor_give(command_end.get(), true, fd);
  finish(std::min(number, 0));
  return number >= 0 ? std::move(card_end) : UniqueFd();
}

void NotifiedCall::finish_with_file(const std::string& path, int flags, mode_t mode) {
  // A descriptor that only names a file cannot be handed over; one for reading does what it does.
  const UniqueFd file(open(path.c_str(), (flags & ~O_PATH) | O_CLOEXEC | O_NOCTTY, mode));
  finish(file ? descriptor_give(file.get(), (flags & O_CLOEXEC) != 0) : -errno);
}

/// A notification can end a call, but not change where its process is: the caller has to move itself.
void NotifiedCall::finish_in_folder(const std::string& path) {
  const UniqueFd folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) {
    fail(errno);
  } else if (ptrace(PTRACE_SEIZE, thread_, 0, PTRACE_O_TRACESYSGOOD) != 0) {
    fail(EACCES);
  } else {
    const int number = descriptor_give(folder.get(), true);
    if (number < 0) {
      fail(-number);
    }
    folder_change(number);
  }
}

void NotifiedCall::folder_change(int fd) {
  const auto wait = [](pid_t thread) {
    int status = 0;
    while (waitpid(thread, &status, __WALL) < 0 && errno == EINTR) {
    }
    return status;
  };
  // The stop ends the caller's wait for an answer, and with it the call.
  static_cast<void>(ptrace(PTRACE_INTERRUPT, thread_, 0, 0));
  int status = wait(thread_);
  std::vector<int> early;
  while (WIFSTOPPED(status) && status >> 16 != PTRACE_EVENT_STOP) {
    early.push_back(WSTOPSIG(status));
    static_cast<void>(ptrace(PTRACE_CONT, thread_, 0, 0));
    status = wait(thread_);
  }
  if (!WIFSTOPPED(status)) {
    ended_.push_back({thread_, status});
    return;
  }
  BorrowedThread caller(thread_, BorrowedThread::Place::before_restart, wait);
  if (fd >= 0) {
    const int64_t result = caller.call(SYS_fchdir, {static_cast<uint64_t>(fd)});
    caller.call(SYS_close, {static_cast<uint64_t>(fd)});
    caller.give_back(result);
  }
  if (caller.end().has_value()) {
    ended_.push_back({thread_, *caller.end()});
    return;
  }
  for (const int number : early) {
    syscall(SYS_tkill, thread_, number);
  }
  caller.signals_send();
  static_cast<void>(ptrace(PTRACE_DETACH, thread_, 0, 0));
}

class NotifyTrap final : public Trap {
 public:
  explicit NotifyTrap(const CallRules& rules) : rules_(rules) {}

  const char* name() const override {
    return "notify";
  }
  Offer offer() const override {
    const int listener = filter_install(rules_, SECCOMP_RET_USER_NOTIF, SECCOMP_FILTER_FLAG_NEW_LISTENER);
    return {.error = listener < 0 ? errno : 0, .filter = true, .listener = listener};
  }
  int attach(pid_t, const Offer& offer, UniqueFd listener) override {
    listener_ = std::move(listener);
    return offer.error;
  }
  int descriptor() const override {
    return listener_.get();
  }
  void take(short events, const Handler& handler) override {
    NotifiedCall call(listener_.get(), ended_);
    if ((events & POLLIN) != 0 && call.receive()) {
      handler(call);
    }
    if ((events & POLLHUP) != 0) {
      listener_.reset();  // nobody is left whose calls could come here
    }
  }
  pid_t reap(int& wait_status, const Handler&) override {
    if (!ended_.empty()) {
      const Ended ended = ended_.back();
      ended_.pop_back();
      wait_status = ended.status;
      return ended.pid;
    }
    return std::max(waitpid(-1, &wait_status, WNOHANG), 0);
  }
  bool has_more() const override {
    return !ended_.empty();
  }

 private:
  const CallRules& rules_;
  UniqueFd listener_;
  std::vector<Ended> ended_;
};

}  // namespace

std::unique_ptr<Trap> notify_trap(const CallRules& rules) {
  return std::make_unique<NotifyTrap>(rules);
}

}  // namespace vcard
