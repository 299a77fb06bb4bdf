#include "partial_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "common/report.h"

partial_file::~partial_file() {
  if (stream_ != nullptr) {
    fclose(stream_);
  }
  if (!temporary_.empty()) {
    unlink(temporary_.c_str());
  }
}

bool partial_file::create(const char* path) {
  path_ = path;
  struct stat status = {};
  const bool exists = lstat(path, &status) == 0;
  if (exists && !S_ISREG(status.st_mode)) {
    KXTOOLS_ERR("%s is no regular file\n", path);
    return false;
  }
  std::string name = path_ + ".XXXXXX";
  const int fd = exists || errno == ENOENT ? mkstemp(name.data()) : -1;
  if (fd < 0) {
    KXTOOLS_ERR("%s cannot be written: %s\n", path, strerror(errno));
    return false;
  }
  temporary_ = std::move(name);
  stream_ = fdopen(fd, "w");
  if (stream_ == nullptr) {
    close(fd);
    KXTOOLS_ERR("%s cannot be written: %s\n", path, strerror(errno));
    return false;
  }
  return true;
}

// A full disk shows at the latest when the last bytes go out.
bool partial_file::is_written() {
  const bool good = fflush(stream_) == 0 && ferror(stream_) == 0 && fsync(fileno(stream_)) == 0;
  const int error = errno;
  const bool closed = fclose(stream_) == 0;
  stream_ = nullptr;
  errno = good ? errno : error;
  return good && closed;
}

bool partial_file::commit() {
  if (!is_written() || rename(temporary_.c_str(), path_.c_str()) != 0) {
    KXTOOLS_ERR("%s cannot be written: %s\n", path_.c_str(), strerror(errno));
    return false;
  }
  temporary_.clear();
  return true;
}
