#include "kx_pcie/link_lock.h"

#include <cerrno>

#include "common/signals.h"
#include "lock_file.h"

namespace {

// It is held for minutes: a signal ends the wait for it.
bool link_try(int fd) {
  if (kx_signal_guard::raised() != 0) {
    errno = ECANCELED;
    return false;
  }
  return kx_flock_in_turn(fd);
}

}  // namespace

bool link_lock::take() {
  fd_ = lock_file_take_or_tell("link", "pcie_link_lockfile", link_try);
  return static_cast<bool>(fd_);
}
