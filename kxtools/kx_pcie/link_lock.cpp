#include "kx_pcie/link_lock.h"

#include <cerrno>

#include "common/report.h"
#include "common/signals.h"
#include "lock_file.h"

namespace {

// It is held for minutes: a signal ends the wait for it.
bool link_try(int fd) {
  if (kx_signal_guard::raised() != 0) {
    errno = ECANCELED;
    return false;
  }
  return kx_flock_exclusive(fd);
}

}  // namespace

bool link_lock::take() {
  constexpr const char* NAME = "pcie_link_lockfile";
  const lock_file_result result = lock_file_take(NAME, &fd_, link_try);
  if (result != lock_file_result::held) {
    kx_error_print("the lock of the link, %s, %s\n", NAME,
                   result == lock_file_result::busy ? "is still held by another process" : "cannot be opened");
  }
  return result == lock_file_result::held;
}
