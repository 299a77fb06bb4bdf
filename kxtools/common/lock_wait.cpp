#include "common/lock_wait.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <mutex>

#include "common/clock.h"
#include "common/lock_holder.h"
#include "common/report.h"

namespace {

constexpr uint64_t TELL_AFTER_MS = 1000;
constexpr long TURN_NS = KX_FLOCK_TURN_MS * 1000000L;

/// Interrupts the calling thread's system calls for as long as it lives, again and again: a tick that comes just before
/// a call is followed by one that ends it.
class ticker {
 public:
  ticker() {
    // The handler stays: another thread may wait too.
    static std::once_flag once;
    std::call_once(once, [] {
      struct sigaction action = {};
      action.sa_handler = [](int) {};  // and no SA_RESTART
      sigaction(SIGRTMAX, &action, nullptr);
    });
    sigset_t ticks;
    sigemptyset(&ticks);
    sigaddset(&ticks, SIGRTMAX);
    pthread_sigmask(SIG_UNBLOCK, &ticks, &former_mask_);
    struct sigevent event = {};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = SIGRTMAX;
    event._sigev_un._tid = gettid();
    constexpr itimerspec EVERY_TURN = {.it_interval = {0, TURN_NS}, .it_value = {0, TURN_NS}};
    made_ = timer_create(CLOCK_MONOTONIC, &event, &timer_) == 0;
    runs_ = made_ && timer_settime(timer_, 0, &EVERY_TURN, nullptr) == 0;
  }
  ticker(const ticker&) = delete;
  ticker& operator=(const ticker&) = delete;
  ~ticker() {
    if (made_) {
      timer_delete(timer_);
    }
    pthread_sigmask(SIG_SETMASK, &former_mask_, nullptr);
  }
  bool runs() const {
    return runs_;
  }

 private:
  sigset_t former_mask_ = {};
  timer_t timer_ = {};
  bool made_ = false;
  bool runs_ = false;
};

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
  char path[128];  // no allocation: an access to card memory passes here
  snprintf(path, sizeof path, "%s/%s", folder, name);
  for (;;) {
    kx_shared_file file = kx_shared_file_open(folder, name, O_RDWR | O_CREAT, folder_mode, file_mode);
    if (file.fd && kx_lock_wait(file.fd.get(), path, limit, try_lock) != kx_waited::done) {
      file.fd.reset();
      file.step = kx_shared_file_step::lock_file;
    }
    if (!file.fd || !kx_shared_file_is_removed(file.fd.get())) {
      return file;
    }
  }
}

bool kx_flock_in_turn(int fd) {
  if (kx_flock_exclusive(fd)) {
    return true;
  }
  if (errno != EWOULDBLOCK) {
    return false;
  }
  const ticker limit;
  if (!limit.runs()) {
    usleep(KX_FLOCK_TURN_MS * 1000);
    return kx_flock_exclusive(fd);
  }
  if (flock(fd, LOCK_EX) == 0) {
    return true;
  }
  errno = errno == EINTR ? EWOULDBLOCK : errno;
  return false;
}
