#include "vcard/storage.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <utility>
#include <vector>

namespace vcard {

namespace {

constexpr mode_t file_mode = 0600;

struct File {
  explicit File(int number) : fd(number) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (fd >= 0) {
      close(fd);
    }
  }
  bool resize(size_t size) const {
    return fd >= 0 && ftruncate(fd, static_cast<off_t>(size)) == 0;
  }
  int fd;
};

/// Copies what is written of a sparse file.
bool content_copy(int from, int to) {
  std::vector<uint8_t> block(1 << 16);
  off_t at = 0;
  while ((at = lseek(from, at, SEEK_DATA)) >= 0) {
    const off_t end = lseek(from, at, SEEK_HOLE);
    while (at < end) {
      const ssize_t length =
          pread(from, block.data(), std::min<size_t>(block.size(), static_cast<size_t>(end - at)), at);
      if (length <= 0 || pwrite(to, block.data(), static_cast<size_t>(length), at) != length) {
        return false;
      }
      at += length;
    }
  }
  return errno == ENXIO;  // no data behind
}

}  // namespace

Storage::Storage(Storage&& other) noexcept
    : path_(std::move(other.path_)), data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}

Storage& Storage::operator=(Storage&& other) noexcept {
  std::swap(path_, other.path_);
  std::swap(data_, other.data_);
  std::swap(size_, other.size_);
  return *this;
}

Storage::~Storage() {
  if (data_ != nullptr) {
    munmap(data_, size_);
  }
}

bool Storage::create(const std::string& path, size_t size) {
  constexpr int flags = MAP_SHARED | MAP_NORESERVE;
  void* data = MAP_FAILED;
  if (path.empty()) {
    data = mmap(nullptr, size, PROT_READ | PROT_WRITE, flags | MAP_ANONYMOUS, -1, 0);
  } else if (File file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, file_mode)); file.resize(size)) {
    data = mmap(nullptr, size, PROT_READ | PROT_WRITE, flags, file.fd, 0);
  }
  if (data == MAP_FAILED) {
    return false;
  }
  path_ = path;
  data_ = static_cast<uint8_t*>(data);
  size_ = size;
  return true;
}

bool Storage::renew() {
  if (path_.empty()) {
    return true;
  }
  const std::string fresh_path = path_ + ".new";
  File old(open(path_.c_str(), O_RDWR | O_CLOEXEC));
  File fresh(open(fresh_path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, file_mode));
  if (old.fd < 0 || !fresh.resize(size_) || !content_copy(old.fd, fresh.fd) ||
      mmap(data_, size_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_NORESERVE | MAP_FIXED, fresh.fd, 0) == MAP_FAILED) {
    return false;
  }
  return rename(fresh_path.c_str(), path_.c_str()) == 0 && old.resize(0);
}

uint32_t Storage::read32(size_t offset) const {
  if (offset % 4 != 0 || offset + 4 > size_) {
    return UINT32_MAX;
  }
  return std::atomic_ref(*reinterpret_cast<uint32_t*>(data_ + offset)).load(std::memory_order_acquire);
}

void Storage::write32(size_t offset, uint32_t value) {
  if (offset % 4 == 0 && offset + 4 <= size_) {
    std::atomic_ref(*reinterpret_cast<uint32_t*>(data_ + offset)).store(value, std::memory_order_release);
  }
}

}  // namespace vcard
