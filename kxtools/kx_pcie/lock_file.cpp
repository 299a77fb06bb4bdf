#include "lock_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "common/lock_holder.h"
#include "common/shared_file.h"

namespace {

constexpr const char* LOCK_FOLDER = "/tmp/kx_pcie";
// Users of every identity share the lock; the sticky bit keeps them from removing each other's file.
constexpr mode_t LOCK_FOLDER_MODE = 01777;
constexpr mode_t LOCK_FILE_MODE = 0666;

// Another process holds a lock for the length of one access or operation, which time-outs bound to a few seconds.
// Waiting in short sleeps instead of in the kernel keeps a stopped holder from blocking the tool for ever.
constexpr useconds_t WAIT_STEP_US = 100;
constexpr time_t WAIT_MAX_S = 60;
constexpr time_t TOLD_AFTER_S = 1;

time_t now_s() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

void holder_tell(int fd, const char* name) {
  const kx_lock_holder holder = kx_lock_holder_find(fd);
  if (holder.pid > 0) {
    fprintf(stderr, "waiting for process %d (%s), which holds %s/%s\n", holder.pid, holder.command, LOCK_FOLDER, name);
  }
}

bool lock_within_limit(int fd, const char* name) {
  if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
    return true;
  }
  const time_t begin = now_s();
  for (bool told = false; errno == EWOULDBLOCK && now_s() < begin + WAIT_MAX_S;) {
    if (!told && now_s() > begin + TOLD_AFTER_S) {
      holder_tell(fd, name);
      told = true;
    }
    usleep(WAIT_STEP_US);
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) {
      return true;
    }
  }
  return false;
}

// A file that somebody has removed is locked by nobody else any more.
bool was_removed(int fd) {
  struct stat file = {};
  return fstat(fd, &file) == 0 && file.st_nlink == 0;
}

}  // namespace

lock_file_result lock_file_take(const char* name, kx_unique_fd* fd) {
  for (;;) {
    kx_shared_file file = kx_shared_file_open(LOCK_FOLDER, name, O_RDWR | O_CREAT, LOCK_FOLDER_MODE, LOCK_FILE_MODE);
    if (file.step == kx_shared_file_step::open_file) {
      return lock_file_result::no_file;
    }
    if (file.step != kx_shared_file_step::opened) {
      return lock_file_result::no_folder;
    }
    if (!lock_within_limit(file.fd.get(), name)) {
      return lock_file_result::busy;
    }
    if (!was_removed(file.fd.get())) {
      *fd = std::move(file.fd);
      return lock_file_result::held;
    }
  }
}
