// Owners of what the system hands out. Each gives back in its destructor; none can be copied.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
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

/// Owns a memory mapping of `size` bytes at `data`; null owns nothing.
class kx_mapping {
 public:
  kx_mapping() = default;
  kx_mapping(void* data, size_t size) : data_(data), size_(size) {}
  kx_mapping(kx_mapping&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
  kx_mapping& operator=(kx_mapping&& other) noexcept {
    if (this != &other) {
      reset();
      data_ = std::exchange(other.data_, nullptr);
      size_ = std::exchange(other.size_, 0);
    }
    return *this;
  }
  kx_mapping(const kx_mapping&) = delete;
  kx_mapping& operator=(const kx_mapping&) = delete;
  ~kx_mapping() {
    reset();
  }

  void* data() const {
    return data_;
  }
  size_t size() const {
    return size_;
  }
  void reset() {
    if (data_ != nullptr) {
      munmap(data_, size_);
      data_ = nullptr;
      size_ = 0;
    }
  }

 private:
  void* data_ = nullptr;
  size_t size_ = 0;
};
