#include "common/result_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

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

bool kx_result_file::open(const char* path) {
  if (!is_replaceable(path)) {
    return false;
  }
  path_ = path;
  const size_t slash = path_.rfind('/');
  folder_ = slash == std::string::npos ? "." : path_.substr(0, slash + 1);
  int fd = -1;
  for (int i = 0; i < NAME_TRIES && fd < 0; ++i) {
    temporary_ = path_ + "." + std::to_string(getpid()) + "." + std::to_string(i);
    fd = ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, FILE_MODE);
    if (fd < 0 && errno != EEXIST) {
      break;
    }
  }
  if (fd < 0) {
    temporary_.clear();
    return false;
  }
  stream_ = fdopen(fd, "w");
  if (stream_ == nullptr) {
    const int error = errno;
    close(fd);
    return give_up(error);
  }
  return true;
}

bool kx_result_file::commit() {
  if (ferror(stream_) != 0) {
    return give_up(EIO);  // an earlier write; its errno is gone
  }
  if (fflush(stream_) != 0 || fsync(fileno(stream_)) != 0) {
    return give_up(errno);
  }
  // The place may have become a link since open(): rename would replace the link itself, never what it points to.
  if (!is_replaceable(path_.c_str()) || rename(temporary_.c_str(), path_.c_str()) != 0) {
    return give_up(errno);
  }
  temporary_.clear();
  fclose(stream_);
  stream_ = nullptr;
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
  if (!temporary_.empty()) {
    unlink(temporary_.c_str());
    temporary_.clear();
  }
  errno = error;
  return false;
}
