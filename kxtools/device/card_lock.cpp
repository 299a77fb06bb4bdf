#include "device/card_lock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "common/lock_wait.h"
#include "common/report.h"
#include "common/text.h"
#include "device/function.h"

namespace {

constexpr const char* LOCK_FOLDER = "/tmp/kxtool";
constexpr mode_t FOLDER_MODE = 01777;
constexpr mode_t FILE_MODE = 0600;  // commands on a card are the super user's: nobody else can hold its lock
constexpr int OPEN_TRIES = 10;      // against somebody who plants files as fast as they are removed
constexpr kx_wait_limit LIMIT = {.step_us = 1000, .looks = 60000};

// Who wants the card alone holds the gate while those who share it come to their end.
constexpr off_t GATE = 0;
constexpr off_t CARD = 1;

// The kernel's record locks: two places in one file, and the end of the process ends them.
template <short TYPE, off_t PLACE>
bool place_lock(int fd) {
  struct flock place = {};
  place.l_type = TYPE;
  place.l_whence = SEEK_SET;
  place.l_start = PLACE;
  place.l_len = 1;
  return fcntl(fd, F_SETLK, &place) == 0;
}

template <short TYPE>
kx_waited card_wait(int fd, const char* path) {
  const kx_waited gate = kx_lock_wait(fd, path, LIMIT, place_lock<TYPE, GATE>);
  return gate != kx_waited::done ? gate : kx_lock_wait(fd, path, LIMIT, place_lock<TYPE, CARD>);
}

// A file that another user planted could be held by that user for ever; the folder's sticky bit keeps the super user's
// own from being removed.
bool is_foreign(int fd) {
  struct stat info = {};
  return geteuid() == 0 && fstat(fd, &info) == 0 && info.st_uid != 0;
}

kx_unique_fd lock_file_open(const char* name, const char* path) {
  for (int tries = 0;; ++tries) {
    kx_shared_file file = kx_shared_file_open(LOCK_FOLDER, name, O_RDWR | O_CREAT, FOLDER_MODE, FILE_MODE);
    if (!file.fd) {
      kx_error_print("the lock %s cannot be opened: %s\n", path, strerror(file.error));
    }
    if (!file.fd || !is_foreign(file.fd.get()) || tries == OPEN_TRIES) {
      return std::move(file.fd);
    }
    unlink(path);
  }
}

}  // namespace

std::string kxtools_card_name(kxtools_sbdf sbdf) {
  for (const kxtools_sbdf port : kxtools_ports_above(sbdf)) {
    if (kxtools_is_own_switch(port)) {
      return kxtools_sbdf_text(port).text;
    }
  }
  return kx_text("%04x:%02x", kxtools_sbdf_segment(sbdf), kxtools_sbdf_bus(sbdf));
}

kx_unique_fd kxtools_card_lock(kxtools_sbdf sbdf, kxtools_card_use use) {
  const std::string name = "kxts_card_" + kxtools_card_name(sbdf);
  const std::string place = std::string(LOCK_FOLDER) + "/" + name;
  const char* const path = place.c_str();
  for (int tries = 0; tries < OPEN_TRIES; ++tries) {
    kx_unique_fd fd = lock_file_open(name.c_str(), path);
    if (!fd) {
      return fd;
    }
    const kx_waited waited =
        use == kxtools_card_use::alone ? card_wait<F_WRLCK>(fd.get(), path) : card_wait<F_RDLCK>(fd.get(), path);
    if (waited != kx_waited::done) {
      kx_error_print("the lock %s %s\n", path,
                     waited == kx_waited::gone ? "cannot be taken" : "is still held by another process");
      return {};
    }
    place_lock<F_UNLCK, GATE>(fd.get());
    if (!kx_shared_file_is_removed(fd.get())) {
      return fd;
    }
  }
  kx_error_print("the lock %s is removed again and again\n", path);
  return {};
}
