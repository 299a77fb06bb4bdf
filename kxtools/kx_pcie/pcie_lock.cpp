#include "kx_pcie/pcie_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "common/report.h"
#include "common/shared_file.h"

namespace {

constexpr const char* LOCK_FOLDER = "/tmp/kx_pcie";
constexpr const char* LOCK_FILE = "pcie_catool_lockfile";
// Users of every identity share the lock; the sticky bit keeps them from removing each other's file.
constexpr mode_t LOCK_FOLDER_MODE = 01777;
constexpr mode_t LOCK_FILE_MODE = 0666;

// Another process holds the lock for the length of one access, which its time-outs bound to a few seconds. Waiting in
// short sleeps instead of in the kernel keeps a stopped holder from blocking the tool for ever.
constexpr useconds_t WAIT_STEP_US = 100;
constexpr time_t WAIT_MAX_S = 60;

time_t now_s() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

bool lock_within_limit(int fd) {
  if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
    return true;
  }
  for (const time_t end = now_s() + WAIT_MAX_S; errno == EWOULDBLOCK && now_s() < end;) {
    usleep(WAIT_STEP_US);
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

bool pcie_lock::take() {
  kx_shared_file file = kx_shared_file_open(LOCK_FOLDER, LOCK_FILE, O_RDWR | O_CREAT, LOCK_FOLDER_MODE, LOCK_FILE_MODE);
  if (file.step == kx_shared_file_step::open_file) {
    kx_print("open lock_file failed\n");
    return false;
  }
  if (file.step != kx_shared_file_step::opened) {
    kx_print("create kxpcie_log dir failed\n");
    return false;
  }
  if (!lock_within_limit(file.fd.get())) {
    kx_print("lock file failed\n");
    return false;
  }
  fd_ = std::move(file.fd);
  return true;
}

void pcie_lock::release() {
  if (fd_ && flock(fd_.get(), LOCK_UN) != 0) {
    kx_print("unlock file failed\n");
  }
  fd_.reset();
}
