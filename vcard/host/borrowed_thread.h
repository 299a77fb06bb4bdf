// A thread of the command, stopped under ptrace behind a system call, that makes other calls for the card in between:
// only the caller itself can open a socket in its own table or move to another folder.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <vector>

#include "registers.h"

namespace vcard {

class BorrowedThread {
 public:
  /// Where the thread is stopped.
  enum class Place : uint8_t { in_call, behind_call, before_restart };
  /// `wait` gives the next wait status of the thread. A call that the thread is in is never made.
  BorrowedThread(pid_t thread, Place place, std::function<int(pid_t)> wait);

  /// Makes one call, of a kind that does not block. Its result, or -ESRCH when the thread has ended.
  int64_t call(long number, std::initializer_list<uint64_t> arguments);
  /// Puts the registers back, with `result` for the call that the thread itself made. The thread stays stopped.
  void give_back(int64_t result);
  /// Sends the signals that came in between again; to be called when the thread is about to run.
  void signals_send() const;

  /// Somebody stopped the whole process meanwhile: it must be asked to stop again.
  bool was_stopped() const {
    return stopped_;
  }
  /// How the thread ended, if it did.
  std::optional<int> end() const {
    return end_;
  }

 private:
  /// Resumes the thread until it stops at the entry or exit of a call. False when it has ended.
  bool step();

  pid_t thread_;
  std::function<int(pid_t)> wait_;
  Registers before_;
  bool in_call_;  // at the entry of the thread's own call, in whose place another one can be made
  std::vector<int> signals_;
  bool stopped_ = false;
  std::optional<int> end_;
};

/// True for the signals that stop a process.
bool is_stop_signal(int number);

}  // namespace vcard
