#include "startup/run_lock.h"

#include <atomic>

#include "common/lock_wait.h"
#include "common/report.h"
#include "common/text.h"
#include "device/card_lock.h"
#include "startup/exit.h"

namespace {

constexpr const char* KXTS_LOCK_PATH = "/tmp/kxtool";
constexpr mode_t FOLDER_MODE = 01777;
constexpr mode_t LOCK_MODE = 0777;
constexpr int LOCK_NAME_CHARS = 7;  // so many characters of the device are part of the lock's name
constexpr kx_wait_limit LIMIT = {.step_us = 1000, .looks = 60000};

// Held until the process ends or kxtool_release_fd_lock; plain, because no destructor may run while threads live.
std::atomic<int> lock_fd = -1;
std::atomic<int> card_fd = -1;

void give_back(std::atomic<int>* lock) {
  kx_unique_fd(lock->exchange(-1)).reset();  // the kernel drops a lock with its last descriptor
}

void report_failure(const kx_shared_file& file, const char* name) {
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
      KXTOOLS_ERR("fopen err! try to open %s/%s err ! \n ", KXTS_LOCK_PATH, name);
      break;
  }
}

}  // namespace

int kxtool_flock_lock(const kxtool_device& device) {
  const std::string name =
      kx_text("kxts_lock_%.*s", LOCK_NAME_CHARS, device.interface != nullptr ? device.interface : device.sbdf_text);
  kx_shared_file file = kx_shared_lock_take(KXTS_LOCK_PATH, name.c_str(), FOLDER_MODE, LOCK_MODE, LIMIT);
  if (file.step == kx_shared_file_step::lock_file) {
    return KXTOOLS_ERR("device %s is still in use by another kxtool command!\n", device.name);
  }
  if (!file.fd) {
    report_failure(file, name.c_str());
    return -1;
  }
  lock_fd = file.fd.release();
  return KXTOOL_LOCK_TAKEN;
}

bool kxtool_card_take(const kxtool_device& device, bool alone) {
  card_fd = kxtools_card_lock(device.sbdf, alone ? kxtools_card_use::alone : kxtools_card_use::shared).release();
  return card_fd >= 0;
}

void kxtool_release_fd_lock() {
  give_back(&card_fd);
  give_back(&lock_fd);
}
