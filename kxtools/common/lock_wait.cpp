#include "common/lock_wait.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <string>

#include "common/clock.h"
#include "common/lock_holder.h"
#include "common/report.h"

namespace {

constexpr uint64_t TELL_AFTER_MS = 1000;

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
    const uint64_t now = kx_now_ms();
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

kx_shared_file kx_shared_lock_take(const char* folder, const char* name, mode_t folder_mode, mode_t file_mode,
                                   const kx_wait_limit& limit, bool (*try_lock)(int fd)) {
  const std::string path = std::string(folder) + "/" + name;
  for (;;) {
    kx_shared_file file = kx_shared_file_open(folder, name, O_RDWR | O_CREAT, folder_mode, file_mode);
    if (file.fd && kx_lock_wait(file.fd.get(), path.c_str(), limit, try_lock) != kx_waited::done) {
      file.fd.reset();
      file.step = kx_shared_file_step::lock_file;
    }
    if (!file.fd || !kx_shared_file_is_removed(file.fd.get())) {
      return file;
    }
  }
}
