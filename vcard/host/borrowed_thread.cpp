#include "borrowed_thread.h"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vcard {

namespace {

constexpr int call_stop = SIGTRAP | 0x80;

}  // namespace

bool is_stop_signal(int number) {
  return number == SIGSTOP || number == SIGTSTP || number == SIGTTIN || number == SIGTTOU;
}

BorrowedThread::BorrowedThread(pid_t thread, Place place, std::function<int(pid_t)> wait)
    : thread_(thread), wait_(std::move(wait)), in_call_(place == Place::in_call) {
  before_.fetch(thread_);
  if (place == Place::before_restart) {
    before_.skip_restart();
  }
}

bool BorrowedThread::step() {
  while (!end_.has_value()) {
    // Of a thread that was killed the wait tells.
    static_cast<void>(ptrace(PTRACE_SYSCALL, thread_, 0, 0));
    const int status = wait_(thread_);
    if (!WIFSTOPPED(status)) {
      end_ = status;
    } else if (WSTOPSIG(status) == call_stop) {
      return true;
    } else if (status >> 16 == 0) {
      signals_.push_back(WSTOPSIG(status));
    } else if (status >> 16 == PTRACE_EVENT_STOP) {
      stopped_ = stopped_ || is_stop_signal(WSTOPSIG(status));
    }
  }
  return false;
}

int64_t BorrowedThread::call(long number, std::initializer_list<uint64_t> arguments) {
  Registers registers = before_;
  const bool replaces = std::exchange(in_call_, false);
  if (replaces) {
    registers.replace_call(number, arguments);
  } else {
    registers.make_call(number, arguments);
  }
  if (end_.has_value() || !registers.store(thread_) || (!replaces && !step()) || !step() || !registers.fetch(thread_)) {
    return -ESRCH;
  }
  return registers.result();
}

void BorrowedThread::give_back(int64_t result) {
  Registers registers = before_;
  registers.skip_call(result);
  registers.store(thread_);
  if (std::exchange(in_call_, false) && step()) {
    registers.store(thread_);
  }
}

void BorrowedThread::signals_send() const {
  for (const int number : signals_) {
    syscall(SYS_tkill, thread_, number);
  }
}

}  // namespace vcard
