#include "kx_pcie/card_lock.h"

#include <pthread.h>

#include "common/report.h"
#include "lock_file.h"

namespace {

constexpr const char* LOCK_NAME = "pcie_card_lockfile";

// Of this process: one thread at a time, and the file for the outermost of its locks.
pthread_mutex_t threads = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
int depth = 0;
int lock_fd = -1;

bool file_take() {
  kx_unique_fd fd;
  const lock_file_result result = lock_file_take(LOCK_NAME, &fd);
  if (result != lock_file_result::held) {
    kx_error_print("the lock of the card, %s, %s\n", LOCK_NAME,
                   result == lock_file_result::busy ? "is still held by another process" : "cannot be opened");
    return false;
  }
  lock_fd = fd.release();
  return true;
}

}  // namespace

bool card_lock::take() {
  pthread_mutex_lock(&threads);
  if (depth == 0 && !file_take()) {
    pthread_mutex_unlock(&threads);
    return false;
  }
  ++depth;
  held_ = true;
  return true;
}

void card_lock::release() {
  if (!held_) {
    return;
  }
  held_ = false;
  if (--depth == 0) {
    kx_unique_fd(lock_fd).reset();  // the kernel drops the lock with the last descriptor
  }
  pthread_mutex_unlock(&threads);
}
