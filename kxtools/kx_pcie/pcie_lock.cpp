#include "kx_pcie/pcie_lock.h"

#include <sys/file.h>

#include "common/report.h"
#include "lock_file.h"

bool pcie_lock::take() {
  kx_shared_file file = lock_file_take("pcie_catool_lockfile");
  switch (file.step) {
    case kx_shared_file_step::opened:
      fd_ = std::move(file.fd);
      return true;
    case kx_shared_file_step::open_file:
      kx_print("open lock_file failed\n");
      return false;
    case kx_shared_file_step::lock_file:
      kx_print("lock file failed\n");
      return false;
    default:
      kx_print("create kxpcie_log dir failed\n");
      return false;
  }
}

void pcie_lock::release() {
  if (fd_ && flock(fd_.get(), LOCK_UN) != 0) {
    kx_print("unlock file failed\n");
  }
  fd_.reset();
}
