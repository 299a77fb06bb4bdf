#include "common/lock_wait.h"

#include <sys/file.h>

#include <cerrno>
#include <ctime>

#include "common/lock_holder.h"
#include "common/report.h"

namespace {

constexpr uint64_t TELL_AFTER_MS = 1000;

uint64_t now_ms() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

void holder_tell(int fd, const char* path) {
  const kx_lock_holder holder = kx_lock_holder_find(fd);
  if (holder.pid > 0) {
    kx_error_print("waiting for process %d (%s), which holds %s\n", holder.pid, holder.command, path);
  } else {
    kx_error_print("waiting for another process, which holds %s\n", path);
  }
}

}  // namespace

kx_waited kx_lock_wait(int fd, const char* path, const kx_wait_limit& limit, bool (*try_lock)(int fd)) {
  uint64_t begin = 0;
  bool told = false;
  return kx_wait(limit, [&] {
    if (try_lock(fd)) {
      return kx_look::done;
    }
    if (errno != EWOULDBLOCK && errno != EAGAIN && errno != EACCES) {
      return errno == EINTR ? kx_look::again : kx_look::gone;
    }
    const uint64_t now = now_ms();
    begin = begin == 0 ? now : begin;
    if (!told && now - begin >= TELL_AFTER_MS) {
      told = true;
      holder_tell(fd, path);
    }
    return kx_look::busy;
  });
}

bool kx_flock_exclusive(int fd) {
  return flock(fd, LOCK_EX | LOCK_NB) == 0;
}
