#include "lock_file.h"

#include <fcntl.h>

#include <cstdio>

#include "common/shared_file.h"

namespace {

constexpr const char* LOCK_FOLDER = "/tmp/kx_pcie";
// Users of every identity share the lock; the sticky bit keeps them from removing each other's file.
constexpr mode_t LOCK_FOLDER_MODE = 01777;
constexpr mode_t LOCK_FILE_MODE = 0666;

// Another process holds a lock for the length of one access or operation, which time-outs bound to a few seconds.
// Waiting in short sleeps instead of in the kernel keeps a stopped holder from blocking the tool for ever.
constexpr kx_wait_limit LIMIT = {.step_us = 100, .looks = 400000};

}  // namespace

lock_file_result lock_file_take(const char* name, kx_unique_fd* fd, bool (*try_lock)(int fd)) {
  char path[64];
  snprintf(path, sizeof path, "%s/%s", LOCK_FOLDER, name);
  for (;;) {
    kx_shared_file file = kx_shared_file_open(LOCK_FOLDER, name, O_RDWR | O_CREAT, LOCK_FOLDER_MODE, LOCK_FILE_MODE);
    if (file.step == kx_shared_file_step::open_file) {
      return lock_file_result::no_file;
    }
    if (file.step != kx_shared_file_step::opened) {
      return lock_file_result::no_folder;
    }
    if (kx_lock_wait(file.fd.get(), path, LIMIT, try_lock) != kx_waited::done) {
      return lock_file_result::busy;
    }
    if (!kx_shared_file_is_removed(file.fd.get())) {
      *fd = std::move(file.fd);
      return lock_file_result::held;
    }
  }
}
