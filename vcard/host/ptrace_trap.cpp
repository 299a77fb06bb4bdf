// ptrace: every thread of the command is traced, and stops at the calls that a filter picks; at every call where the
// kernel allows no filter.
#include <fcntl.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <deque>
#include <map>
#include <optional>
#include <utility>

#include "borrowed_thread.h"
#include "host/trap.h"

namespace vcard {

namespace {

constexpr int call_stop = SIGTRAP | 0x80;
constexpr long trace_options = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE |
                               PTRACE_O_TRACEEXEC | PTRACE_O_TRACESECCOMP | PTRACE_O_EXITKILL;
/// Stops that are handled in one go before others are served.
constexpr int most_stops = 64;
constexpr size_t scratch_size = 4096;
// What the kernel keeps to itself of a call that a signal broke off.
constexpr int64_t restart_without_handler = -514;
constexpr int64_t restart_as_asked = -512;

class PtraceTrap final : public Trap {
 public:
  explicit PtraceTrap(const CallRules& rules) : rules_(rules) {}

  const char* name() const override {
    return "ptrace";
  }
  Offer offer() const override {
    return {.filter = filter_install(rules_, SECCOMP_RET_TRACE, 0) == 0};
  }
  int attach(pid_t command, const Offer& offer, UniqueFd) override;
  int descriptor() const override {
    return -1;
  }
  void take(short, const Handler&) override {}
  pid_t reap(int& wait_status, const Handler& handler) override;
  bool has_more() const override {
    return has_more_ || !events_.empty();
  }

 private:
  friend class TracedCall;
  struct Thread {
    bool in_call = false;              // between entry and exit of a call, where every call stops
    std::optional<int64_t> result;     // of the call that is skipped
    std::optional<Registers> blocked;  // registers of the call that is never answered
    uint64_t scratch = 0;              // a page of its process that is the card's
  };
  struct Event {
    pid_t pid;
    int status;
  };
  void stopped(pid_t pid, int status, const Handler& handler);
  void entered(pid_t pid, Thread& thread, const Handler& handler);
  void left(pid_t pid, Thread& thread);
  void program_changed(pid_t pid);
  void resume(pid_t pid, const Thread& thread, int signal = 0) const;
  int wait_for(pid_t pid);

  const CallRules& rules_;
  bool filter_ = false;
  std::map<pid_t, Thread> threads_;
  std::deque<Event> events_;  // that came while one thread was waited for
  bool has_more_ = false;
  UniqueFd sockets_;  // where the sockets that callers open for the card connect to
  struct sockaddr_un address_ = {};
  socklen_t address_size_ = 0;
};

class TracedCall final : public TrappedCall {
 public:
  TracedCall(PtraceTrap& trap, pid_t pid, const Registers& registers) : trap_(trap), registers_(registers) {
    number_ = registers.number();
    thread_ = pid;
    for (size_t i = 0; i < arguments_.size(); ++i) {
      arguments_[i] = registers.argument(i);
    }
  }
  bool is_ended() const {
    return ended_;
  }

  void finish(int64_t value) override;
  void pass_on() override;
  UniqueFd finish_with_socket(int flags, std::string& target) override;
  UniqueFd finish_connected(int fd) override;
  void finish_with_file(const std::string& path, int flags, mode_t mode) override;
  void finish_in_folder(const std::string& path) override;
  /// Lets the caller wait for a signal.
  void block();

 private:
  bool is_alive() const override {
    return true;  // a stopped thread that is killed keeps its number until it is waited for
  }
  /// Leaves the call without making it.
  BorrowedThread borrow();
  void give_back(BorrowedThread& caller, int64_t result);
  /// Lets the caller open a socket that is connected to the card: `number` is its number, or -errno, and the card's end
  /// is returned.
  UniqueFd socket_open(BorrowedThread& caller, int flags, int64_t& number);
  /// The caller's scratch page with `data` in it, 0 when there is none.
  uint64_t scratch(BorrowedThread& caller, const void* data, size_t size);

  PtraceTrap& trap_;
  Registers registers_;
  bool ended_ = false;
};

void TracedCall::finish(int64_t value) {
  ended_ = true;
  PtraceTrap::Thread& thread = trap_.threads_[thread_];
  registers_.skip_call(value);
  registers_.store(thread_);
  if (thread.in_call) {
    thread.result = value;
  }
  trap_.resume(thread_, thread);
}

void TracedCall::pass_on() {
  ended_ = true;
  trap_.resume(thread_, trap_.threads_[thread_]);
}

void TracedCall::block() {
  ended_ = true;
  PtraceTrap::Thread& thread = trap_.threads_[thread_];
  thread.blocked = registers_;
  thread.in_call = true;
  Registers waiting = registers_;
  waiting.wait_for_signal();
  waiting.store(thread_);
  trap_.resume(thread_, thread);
}

BorrowedThread TracedCall::borrow() {
  ended_ = true;
  BorrowedThread caller(thread_, BorrowedThread::Place::in_call, [this](pid_t pid) { return trap_.wait_for(pid); });
  trap_.threads_[thread_].in_call = false;
  return caller;
}

void TracedCall::give_back(BorrowedThread& caller, int64_t result) {
  caller.give_back(result);
  if (caller.end().has_value()) {
    trap_.events_.push_back({thread_, *caller.end()});
    return;
  }
  caller.signals_send();
  trap_.resume(thread_, trap_.threads_[thread_]);
  if (caller.was_stopped()) {
    static_cast<void>(ptrace(PTRACE_INTERRUPT, thread_, 0, 0));
  }
}

uint64_t TracedCall::scratch(BorrowedThread& caller, const void* data, size_t size) {
  uint64_t& page = trap_.threads_[thread_].scratch;
  for (int attempt = 0; attempt < 2 && size <= scratch_size; ++attempt) {
    if (page != 0 && memory_write(thread_, page, data, size)) {
      return page;
    }
    // The first time, or the program has unmapped it.
    const int64_t mapped = caller.call(__NR_mmap, {0, scratch_size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                                                   static_cast<uint64_t>(-1), 0});
    page = mapped > 0 ? static_cast<uint64_t>(mapped) : 0;
  }
  return 0;
}

UniqueFd TracedCall::socket_open(BorrowedThread& caller, int flags, int64_t& number) {
  const uint64_t address = scratch(caller, &trap_.address_, trap_.address_size_);
  number =
      address == 0 ? -ENOMEM : caller.call(__NR_socket, {AF_UNIX, SOCK_SEQPACKET | static_cast<uint64_t>(flags), 0});
  if (number < 0) {
    return {};
  }
  const int64_t connected = caller.call(__NR_connect, {static_cast<uint64_t>(number), address, trap_.address_size_});
  UniqueFd card_end;
  const pid_t owner = process();
  while (connected == 0 && (card_end = UniqueFd(accept4(trap_.sockets_.get(), nullptr, nullptr, SOCK_CLOEXEC)))) {
    struct ucred peer = {};
    socklen_t size = sizeof peer;
    if (getsockopt(card_end.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.pid == owner) {
      return card_end;
    }
  }
  caller.call(__NR_close, {static_cast<uint64_t>(number)});
  number = connected < 0 ? connected : -ENOBUFS;
  return {};
}

UniqueFd TracedCall::finish_with_socket(int flags, std::string& target) {
  BorrowedThread caller = borrow();
  int64_t number;
  UniqueFd card_end = socket_open(caller, flags & (SOCK_NONBLOCK | SOCK_CLOEXEC), number);
  target = card_end ? descriptor_target(static_cast<int>(number)) : "";
  give_back(caller, number);
  return card_end;
}

UniqueFd TracedCall::finish_connected(int fd) {
  BorrowedThread caller = borrow();
  int64_t number;
  UniqueFd card_end = socket_open(caller, SOCK_CLOEXEC, number);
  if (!card_end) {
    give_back(caller, number);
    return {};
  }
  const int64_t moved = caller.call(__NR_dup3, {static_cast<uint64_t>(number), static_cast<uint64_t>(fd), O_CLOEXEC});
  caller.call(__NR_close, {static_cast<uint64_t>(number)});
  give_back(caller, std::min<int64_t>(moved, 0));
  return moved >= 0 ? std::move(card_end) : UniqueFd();
}

void TracedCall::finish_with_file(const std::string& path, int flags, mode_t mode) {
  BorrowedThread caller = borrow();
  const uint64_t name = scratch(caller, path.c_str(), path.size() + 1);
  give_back(caller, name == 0 ? -ENOMEM
                              : caller.call(__NR_openat, {static_cast<uint64_t>(AT_FDCWD), name,
                                                          static_cast<uint64_t>(flags), mode}));
}

void TracedCall::finish_in_folder(const std::string& path) {
  BorrowedThread caller = borrow();
  const uint64_t name = scratch(caller, path.c_str(), path.size() + 1);
  give_back(caller, name == 0 ? -ENOMEM : caller.call(__NR_chdir, {name}));
}

int PtraceTrap::attach(pid_t command, const Offer& offer, UniqueFd) {
  filter_ = offer.filter;
  sockets_ = UniqueFd(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  address_.sun_family = AF_UNIX;
  address_size_ = sizeof address_;
  // Without a name of its own it gets one that no folder shows.
  if (!sockets_ ||
      bind(sockets_.get(), reinterpret_cast<const sockaddr*>(&address_), sizeof address_.sun_family) != 0 ||
      getsockname(sockets_.get(), reinterpret_cast<sockaddr*>(&address_), &address_size_) != 0 ||
      listen(sockets_.get(), 64) != 0 || ptrace(PTRACE_SEIZE, command, 0, trace_options) != 0) {
    return errno;
  }
  // Without a filter the command has to be stopped once, so that it stops at its calls from then on.
  if (!filter_ && ptrace(PTRACE_INTERRUPT, command, 0, 0) != 0) {
    return errno;
  }
  threads_[command] = {};
  return 0;
}

pid_t PtraceTrap::reap(int& wait_status, const Handler& handler) {
  has_more_ = false;
  for (int stops = 0; stops < most_stops; ++stops) {
    Event event = {};
    if (!events_.empty()) {
      event = events_.front();
      events_.pop_front();
    } else if ((event.pid = waitpid(-1, &event.status, __WALL | WNOHANG)) <= 0) {
      return 0;
    }
    if (!WIFSTOPPED(event.status)) {
      threads_.erase(event.pid);
      wait_status = event.status;
      return event.pid;
    }
    stopped(event.pid, event.status, handler);
  }
  has_more_ = true;
  return 0;
}

/// The next status of one thread; those of others wait until it is done.
int PtraceTrap::wait_for(pid_t pid) {
  Event event = {};
  while ((event.pid = waitpid(-1, &event.status, __WALL)) != pid) {
    if (event.pid > 0) {
      events_.push_back(event);
    } else if (errno != EINTR) {
      return SIGKILL;  // not ours any more: as good as killed
    }
  }
  return event.status;
}

void PtraceTrap::stopped(pid_t pid, int status, const Handler& handler) {
  Thread& thread = threads_[pid];
  const int number = WSTOPSIG(status);
  switch (status >> 16) {
    case 0:
      if (number != call_stop) {
        resume(pid, thread, number);
      } else if (thread.in_call) {
        left(pid, thread);
      } else {
        entered(pid, thread, handler);
      }
      break;
    case PTRACE_EVENT_SECCOMP:
      entered(pid, thread, handler);
      break;
    case PTRACE_EVENT_EXEC:
      program_changed(pid);
      break;
    case PTRACE_EVENT_STOP:
      if (is_stop_signal(number)) {
        static_cast<void>(ptrace(PTRACE_LISTEN, pid, 0, 0));  // stays stopped until it is continued
        break;
      }
      [[fallthrough]];
    default:
      resume(pid, thread);
  }
}

void PtraceTrap::entered(pid_t pid, Thread& thread, const Handler& handler) {
  thread.in_call = !filter_;
  Registers registers;
  if (!registers.fetch(pid)) {
    return;  // killed: its end is still to come
  }
  TracedCall call(*this, pid, registers);
  if (!filter_) {
    const uint64_t arguments[] = {registers.argument(0), registers.argument(1), registers.argument(2),
                                  registers.argument(3), registers.argument(4), registers.argument(5)};
    const CallRule* rule = rules_.find(call.number(), arguments);
    const int error = rule != nullptr                           ? rule->error
                      : rules_.closed && !registers.is_native() ? ENOSYS
                                                                : rules_.unknown_error(call.number());
    if (error != 0) {
      call.fail(error);
    } else if (rule == nullptr) {
      call.pass_on();
    }
  }
  if (!call.is_ended()) {
    handler(call);
  }
  if (!call.is_ended()) {
    call.block();
  }
}

void PtraceTrap::left(pid_t pid, Thread& thread) {
  thread.in_call = false;
  Registers registers;
  if ((thread.result.has_value() || thread.blocked.has_value()) && registers.fetch(pid)) {
    if (thread.blocked.has_value()) {
      // A signal ends the wait; without a handler, or with one that wants it, the call is made again.
      registers.restore(*thread.blocked, registers.result() == restart_without_handler ? restart_as_asked : -EINTR);
    } else {
      registers.set_result(*thread.result);
    }
    registers.store(pid);
  }
  thread.result.reset();
  thread.blocked.reset();
  resume(pid, thread);
}

/// The thread that runs another program takes the number of its process, and all others are gone.
void PtraceTrap::program_changed(pid_t pid) {
  unsigned long former = 0;
  if (ptrace(PTRACE_GETEVENTMSG, pid, 0, &former) == 0 && static_cast<pid_t>(former) != pid) {
    threads_[pid] = threads_[static_cast<pid_t>(former)];
    threads_.erase(static_cast<pid_t>(former));
  }
  threads_[pid].scratch = 0;
  resume(pid, threads_[pid]);
}

void PtraceTrap::resume(pid_t pid, const Thread& thread, int signal) const {
  const bool stops_at_calls = !filter_ || thread.blocked.has_value();
  static_cast<void>(ptrace(stops_at_calls ? PTRACE_SYSCALL : PTRACE_CONT, pid, 0, signal));
}

}  // namespace

std::unique_ptr<Trap> ptrace_trap(const CallRules& rules) {
  return std::make_unique<PtraceTrap>(rules);
}

}  // namespace vcard
