#include "run_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>

#include "common/report.h"
#include "common/shared_file.h"
#include "startup/exit.h"

namespace {

constexpr const char* KXTS_LOCK_PATH = "/tmp/kxtool";
constexpr mode_t LOCK_MODE = 0777;
constexpr int LOCK_NAME_CHARS = 7;  // so many characters of the device are part of the lock's name
constexpr uint32_t LOCK_TRIES = 60000;
constexpr useconds_t LOCK_WAIT_US = 1000;

// Held until the process ends or kxtool_release_fd_lock; plain, because no destructor may run while threads live.
std::atomic<int> lock_fd = -1;

void report_failure(const kx_shared_file& file, const char* path) {
  switch (file.step) {
    case kx_shared_file_step::stat_folder:
      KXTOOLS_ERR("stat failed KXTS_LOCK_PATH %s: errno%d\n", KXTS_LOCK_PATH, file.error);
      break;
    case kx_shared_file_step::make_folder:
      KXTOOLS_ERR("mkdir failed KXTS_LOCK_PATH %s: errno%d\n", KXTS_LOCK_PATH, file.error);
      break;
    case kx_shared_file_step::chmod_folder:
      KXTOOLS_ERR("chmod failed: %d\n", file.error);
      break;
    default:
      KXTOOLS_ERR("fopen err! try to open %s err ! \n ", path);
      break;
  }
}

}  // namespace

int kxtool_flock_lock(const kxtool_device& device) {
  char name[32];
  // An address has one text, however it was typed.
  snprintf(name, sizeof name, "kxts_lock_%.*s", LOCK_NAME_CHARS,
           device.access_mode == KXTOOL_ACCESS_BDF ? device.sbdf_text : device.name);
  kx_shared_file file = kx_shared_file_open(KXTS_LOCK_PATH, name, O_RDWR | O_CREAT, LOCK_MODE, LOCK_MODE);
  if (!file.fd) {
    char path[64];
    snprintf(path, sizeof path, "%s/%s", KXTS_LOCK_PATH, name);
    report_failure(file, path);
    return -1;
  }
  for (uint32_t i = 0; i < LOCK_TRIES; ++i) {
    if (flock(file.fd.get(), LOCK_EX | LOCK_NB) == 0) {
      lock_fd = file.fd.release();
      return KXTOOL_LOCK_TAKEN;
    }
    usleep(LOCK_WAIT_US);
  }
  KXTOOLS_ERR("device %s is still in use by another kxtool command!\n", device.name);
  return -1;
}

void kxtool_release_fd_lock() {
  const int fd = lock_fd.exchange(-1);
  if (fd >= 0) {
    flock(fd, LOCK_UN);
    close(fd);
  }
}
