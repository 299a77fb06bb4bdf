// The registers of a thread that is stopped under ptrace, by what they mean for a system call.
#pragma once

#include <sys/types.h>
#include <sys/user.h>

#include <cstdint>
#include <initializer_list>

namespace vcard {

class Registers {
 public:
  // Both false when the thread is gone.
  bool fetch(pid_t thread);
  bool store(pid_t thread);

  long number() const;
  uint64_t argument(size_t index) const;
  int64_t result() const;
  /// False for a thread whose code is that of another architecture.
  bool is_native() const;

  /// At the entry of a call: the kernel makes this one in its place.
  void replace_call(long number, std::initializer_list<uint64_t> arguments);
  /// At the entry of a call: in its place the kernel waits for a signal.
  void wait_for_signal();
  /// At the entry of a call: the kernel makes none, and the caller sees `result`.
  void skip_call(int64_t result);
  /// Outside of a call: what the last one gives the caller.
  void set_result(int64_t result);
  /// Outside of a call that waited for a signal: as if the call of `entry` had brought `result`.
  void restore(const Registers& entry, int64_t result);
  /// Stopped before a call that was broken off is made again: as if it stood behind it.
  void skip_restart();
  /// Outside of a call, right behind the instruction that made one: makes another one.
  void make_call(long number, std::initializer_list<uint64_t> arguments);

 private:
  void change_call(long number);
  void set_arguments(std::initializer_list<uint64_t> arguments);

  struct user_regs_struct all_ = {};
#if defined(__aarch64__)
  int number_ = -1;
#endif
};

}  // namespace vcard
