#include "common/shared_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

kx_shared_file failed(kx_shared_file_step step, int error) {
  return {.fd = {}, .step = step, .error = error};
}

bool is_plain_name(const char* name) {
  return name[0] != '\0' && strcmp(name, ".") != 0 && strcmp(name, "..") != 0 && strchr(name, '/') == nullptr;
}

// Whoever made a shared folder could remove and exchange its files. What cannot be changed stays as it is.
void folder_protect(int fd) {
  struct stat info = {};
  if (fstat(fd, &info) != 0 || (info.st_mode & S_IWOTH) == 0) {
    return;
  }
  if (info.st_uid != 0 && geteuid() == 0 && fchown(fd, 0, 0) != 0) {
    return;
  }
  if ((info.st_mode & S_ISVTX) == 0) {
    fchmod(fd, (info.st_mode & 07777) | S_ISVTX);
  }
}

}  // namespace

kx_shared_file kx_shared_file_open(const char* folder, const char* name, int flags, mode_t folder_mode,
                                   mode_t file_mode) {
  if (!is_plain_name(name)) {
    return failed(kx_shared_file_step::open_file, EINVAL);
  }
  constexpr int FOLDER_FLAGS = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  kx_unique_fd folder_fd(open(folder, FOLDER_FLAGS));
  if (!folder_fd && errno != ENOENT) {
    return failed(kx_shared_file_step::stat_folder, errno);
  }
  if (!folder_fd) {
    const bool made = mkdir(folder, folder_mode) == 0;
    // Another process may have made it in between.
    if (!made && errno != EEXIST) {
      return failed(kx_shared_file_step::make_folder, errno);
    }
    folder_fd.reset(open(folder, FOLDER_FLAGS));
    if (!folder_fd) {
      return failed(kx_shared_file_step::stat_folder, errno);
    }
    if (made && fchmod(folder_fd.get(), folder_mode) != 0) {  // the umask took from it
      return failed(kx_shared_file_step::chmod_folder, errno);
    }
  }

  if ((folder_mode & S_ISVTX) != 0) {
    folder_protect(folder_fd.get());
  }

  // O_NONBLOCK: a planted FIFO must not block the open.
  const int safe_flags = flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  kx_shared_file result;
  bool created = false;
  const auto open_what_is_there = [&] { result.fd.reset(openat(folder_fd.get(), name, safe_flags & ~O_CREAT)); };
  open_what_is_there();
  if (!result.fd && errno == ENOENT && (flags & O_CREAT) != 0) {
    result.fd.reset(openat(folder_fd.get(), name, safe_flags | O_EXCL, file_mode));
    created = static_cast<bool>(result.fd);
    if (!created && errno == EEXIST) {
      open_what_is_there();
    }
  }
  if (!result.fd) {
    return failed(kx_shared_file_step::open_file, errno);
  }
  struct stat info = {};
  if (fstat(result.fd.get(), &info) != 0) {
    return failed(kx_shared_file_step::open_file, errno);
  }
  if (!S_ISREG(info.st_mode) || info.st_nlink != 1) {
    return failed(kx_shared_file_step::open_file, EPERM);
  }
  if (created && fchmod(result.fd.get(), file_mode) != 0) {
    return failed(kx_shared_file_step::chmod_folder, errno);
  }
  result.step = kx_shared_file_step::opened;
  return result;
}

bool kx_shared_file_is_removed(int fd) {
  struct stat info = {};
  return fstat(fd, &info) == 0 && info.st_nlink == 0;
}
