// The lock file that serialises the PCIe accesses of all tool processes. The kernel drops the lock of a process that
// dies, so a killed tool leaves nothing behind.
#pragma once

#include "common/unique_fd.h"

/// Holds the lock from a successful take() to release() or its end of life. Within one process at most one object may
/// hold it; a second take() would wait for the first.
class pcie_lock {
 public:
  pcie_lock() = default;
  pcie_lock(const pcie_lock&) = delete;
  pcie_lock& operator=(const pcie_lock&) = delete;
  ~pcie_lock() {
    release();
  }

  /// Waits for the lock, at most a minute. False with a message when it cannot be had.
  bool take();
  void release();

 private:
  kx_unique_fd fd_;
};
