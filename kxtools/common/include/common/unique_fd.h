// The owner of a descriptor: gives it back in its destructor, cannot be copied.
#pragma once

#include <unistd.h>

#include <utility>

/// Owns a file descriptor; -1 owns nothing.
class kx_unique_fd {
 public:
  kx_unique_fd() = default;
  explicit kx_unique_fd(int fd) : fd_(fd) {}
  kx_unique_fd(kx_unique_fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  kx_unique_fd& operator=(kx_unique_fd&& other) noexcept {
    reset(std::exchange(other.fd_, -1));
    return *this;
  }
  kx_unique_fd(const kx_unique_fd&) = delete;
  kx_unique_fd& operator=(const kx_unique_fd&) = delete;
  ~kx_unique_fd() {
    reset();
  }

  int get() const {
    return fd_;
  }
  explicit operator bool() const {
    return fd_ >= 0;
  }
  void reset(int fd = -1) {
    if (fd_ >= 0 && fd_ != fd) {
      close(fd_);
    }
    fd_ = fd;
  }
  int release() {
    return std::exchange(fd_, -1);
  }

 private:
  int fd_ = -1;
};
