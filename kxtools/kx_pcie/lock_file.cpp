#include "lock_file.h"

#include "common/report.h"

namespace {

constexpr const char* LOCK_FOLDER = "/tmp/kx_pcie";
// Users of every identity share the lock; the sticky bit keeps them from removing each other's file.
constexpr mode_t LOCK_FOLDER_MODE = 01777;
constexpr mode_t LOCK_FILE_MODE = 0666;

// Another process holds a lock for the length of one access or operation, which time-outs bound to a few seconds.
constexpr kx_wait_limit LIMIT = {.step_us = 100, .looks = 60000 / KX_FLOCK_TURN_MS};

}  // namespace

kx_shared_file lock_file_take(const char* name, bool (*try_lock)(int fd)) {
  return kx_shared_lock_take(LOCK_FOLDER, name, LOCK_FOLDER_MODE, LOCK_FILE_MODE, LIMIT, try_lock);
}

kx_unique_fd lock_file_take_or_tell(const char* what, const char* name, bool (*try_lock)(int fd)) {
  kx_shared_file file = lock_file_take(name, try_lock);
  if (!file.fd) {
    kx_error_print(
        "the lock of the %s, %s, %s\n", what, name,
        file.step == kx_shared_file_step::lock_file ? "is still held by another process" : "cannot be opened");
  }
  return std::move(file.fd);
}
