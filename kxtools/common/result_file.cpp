#include "common/result_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "common/signals.h"

namespace {

constexpr mode_t FILE_MODE = 0600;  // dumps may hold what only the super user can read

// Another run of this process may have left its name behind.
constexpr int NAME_TRIES = 100;

bool is_replaceable(const char* path) {
  struct stat info = {};
  if (lstat(path, &info) != 0) {
    return errno == ENOENT;
  }
  if (!S_ISREG(info.st_mode)) {
    errno = EEXIST;
    return false;
  }
  return true;
}

}  // namespace

kx_result_file::~kx_result_file() {
  give_up(errno);
}

// stdio tells that a write failed, but not why; this does.
ssize_t kx_result_file::on_write(void* self, const char* bytes, size_t size) {
  auto* file = static_cast<kx_result_file*>(self);
  size_t done = 0;
  while (done < size) {
    const ssize_t written = write(file->fd_.get(), bytes + done, size - done);
    if (written < 0 && errno != EINTR) {
      file->error_ = file->error_ == 0 ? errno : file->error_;
      break;
    }
    done += written < 0 ? 0 : static_cast<size_t>(written);
  }
  return static_cast<ssize_t>(done);
}

// Under a name that nothing has; the name is free or errno says why not.
bool kx_result_file::temporary_open() {
  for (int i = 0; i < NAME_TRIES && !fd_; ++i) {
    temporary_ = path_ + "." + std::to_string(getpid()) + "." + std::to_string(i);
    fd_.reset(::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, FILE_MODE));
    if (!fd_ && errno != EEXIST) {
      break;
    }
  }
  if (!fd_) {
    temporary_.clear();
  }
  return static_cast<bool>(fd_);
}

bool kx_result_file::open(const char* path) {
  if (!is_replaceable(path)) {
    return false;
  }
  path_ = path;
  const size_t slash = path_.rfind('/');
  folder_ = slash == std::string::npos ? "." : path_.substr(0, slash + 1);
  fd_.reset(::open(folder_.c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, FILE_MODE));
  if (!fd_ && !temporary_open()) {
    return false;
  }
  stream_ = fopencookie(this, "w", {.read = nullptr, .write = on_write, .seek = nullptr, .close = nullptr});
  return stream_ != nullptr || give_up(errno);
}

// Gives the whole file a name beside its place, then its place.
bool kx_result_file::name_give() {
  const kx_signal_hold hold;
  if (temporary_.empty()) {
    const std::string nameless = "/proc/self/fd/" + std::to_string(fd_.get());
    for (int i = 0; i < NAME_TRIES && temporary_.empty(); ++i) {
      const std::string name = path_ + "." + std::to_string(getpid()) + "." + std::to_string(i);
      if (linkat(AT_FDCWD, nameless.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
        temporary_ = name;
      } else if (errno != EEXIST) {
        return false;
      }
    }
  }
  // The place may have become a link since open(): rename would replace the link itself, never what it points to.
  if (!is_replaceable(path_.c_str()) || rename(temporary_.c_str(), path_.c_str()) != 0) {
    const int error = errno;
    unlink(temporary_.c_str());
    temporary_.clear();
    errno = error;
    return false;
  }
  temporary_.clear();
  return true;
}

bool kx_result_file::commit() {
  if (fflush(stream_) != 0 || ferror(stream_) != 0 || error_ != 0) {
    return give_up(error_ != 0 ? error_ : EIO);
  }
  if (fsync(fd_.get()) != 0 || !name_give()) {
    return give_up(errno);
  }
  fclose(stream_);
  stream_ = nullptr;
  fd_.reset();
  const kx_unique_fd folder(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) {
    fsync(folder.get());  // the name; some file systems cannot, and the file is whole either way
  }
  return true;
}

bool kx_result_file::give_up(int error) {
  if (stream_ != nullptr) {
    fclose(stream_);
    stream_ = nullptr;
  }
  fd_.reset();
  if (!temporary_.empty()) {
    unlink(temporary_.c_str());
    temporary_.clear();
  }
  errno = error;
  return false;
}
