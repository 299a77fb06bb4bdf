// The lock for several accesses to a card that belong together: the words of an indirect window, a read and the write
// that follows it. It lies around the tunnel's own lock (pcie_lock.h), which serialises single accesses, and is never
// taken while that is held. All cards of a host share it, as they share the tunnel's: a card has functions on several
// buses, and its operations take milliseconds.
#pragma once

/// Holds the lock from a successful take() to release() or its end of life. Locks of one thread nest; those of other
/// threads wait.
class card_lock {
 public:
  card_lock() = default;
  card_lock(const card_lock&) = delete;
  card_lock& operator=(const card_lock&) = delete;
  ~card_lock() {
    release();
  }

  /// Waits for the lock, at most a minute. False with a line on standard error when it cannot be had.
  bool take();
  void release();

 private:
  bool held_ = false;
};
