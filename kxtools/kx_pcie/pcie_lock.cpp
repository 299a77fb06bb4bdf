#include "kx_pcie/pcie_lock.h"

#include <sys/file.h>

#include "common/report.h"
#include "lock_file.h"

bool pcie_lock::take() {
  switch (lock_file_take("pcie_catool_lockfile", &fd_)) {
    case lock_file_result::held:
      return true;
    case lock_file_result::no_file:
      kx_print("open lock_file failed\n");
      return false;
    case lock_file_result::no_folder:
      kx_print("create kxpcie_log dir failed\n");
      return false;
    case lock_file_result::busy:
      kx_print("lock file failed\n");
      return false;
  }
  return false;
}

void pcie_lock::release() {
  if (fd_ && flock(fd_.get(), LOCK_UN) != 0) {
    kx_print("unlock file failed\n");
  }
  fd_.reset();
}
