// The lock for work on the link itself: training it anew, margining, which holds settings at both of its ends for
// minutes. It lies around the lock for several accesses (card_lock.h), so that other accesses go on meanwhile. All
// cards of a host share it.
#pragma once

#include "common/unique_fd.h"

/// Holds the lock from a successful take() to its end of life. At most one in a process.
class link_lock {
 public:
  link_lock() = default;
  link_lock(const link_lock&) = delete;
  link_lock& operator=(const link_lock&) = delete;

  /// Waits for the lock, at most a minute, or until the command's guard has a signal. False with a line on standard
  /// error when it cannot be had.
  bool take();

 private:
  kx_unique_fd fd_;
};
