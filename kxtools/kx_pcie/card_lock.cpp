#include "kx_pcie/card_lock.h"

#include <pthread.h>

#include "lock_file.h"

namespace {

// Of this process: one thread at a time, and the file for the outermost of its locks.
pthread_mutex_t threads = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
int depth = 0;
int lock_fd = -1;

}  // namespace

bool card_lock::take() {
  pthread_mutex_lock(&threads);
  if (depth == 0) {
    lock_fd = lock_file_take_or_tell("card", "pcie_card_lockfile").release();
  }
  if (lock_fd < 0) {
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
    kx_unique_fd(std::exchange(lock_fd, -1)).reset();  // the kernel drops the lock with the last descriptor
  }
  pthread_mutex_unlock(&threads);
}
