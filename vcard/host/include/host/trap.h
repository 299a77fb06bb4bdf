// How system calls of the command and its descendants are caught. Two engines: the kernel's user notification, which
// costs least, and ptrace for kernels and filters that do not allow it.
#pragma once

#include <poll.h>
#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>

#include "host/call_rules.h"
#include "host/trapped_call.h"
#include "host/unique_fd.h"

namespace vcard {

class Trap {
 public:
  using Handler = std::function<void(TrappedCall&)>;

  virtual ~Trap() = default;
  Trap(const Trap&) = delete;
  Trap& operator=(const Trap&) = delete;
  virtual const char* name() const = 0;

  /// What the command's process prepared before it becomes the program, and hands over.
  struct Offer {
    int error = 0;        // errno: it cannot be caught in this way
    bool filter = false;  // the kernel picks the calls
    int listener = -1;
  };
  /// Called in the command's process. Needs PR_SET_NO_NEW_PRIVS.
  virtual Offer offer() const = 0;
  /// Called in the serving process, while the command waits. 0 or errno.
  virtual int attach(pid_t command, const Offer& offer, UniqueFd listener) = 0;

  /// A descriptor that is readable while calls wait; -1: SIGCHLD says so.
  virtual int descriptor() const = 0;
  /// Takes the calls of which poll said `events`.
  virtual void take(short events, const Handler& handler) = 0;
  /// The next process below this one that has ended, 0 when there is none now. Takes the calls that SIGCHLD announced.
  virtual pid_t reap(int& wait_status, const Handler& handler) = 0;
  /// True when reap broke off so that others are served too, and must be called again.
  virtual bool has_more() const = 0;

 protected:
  Trap() = default;
};

std::unique_ptr<Trap> notify_trap(const CallRules& rules);
std::unique_ptr<Trap> ptrace_trap(const CallRules& rules);

/// Installs the filter of `rules` for this process; what seccomp(2) returns.
int filter_install(const CallRules& rules, uint32_t caught, unsigned flags);

}  // namespace vcard
