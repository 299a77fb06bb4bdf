#include "vcard/storage.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <utility>

namespace vcard {

Storage::Storage(Storage&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}

Storage& Storage::operator=(Storage&& other) noexcept {
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
  int fd = -1;
  int flags = MAP_SHARED | MAP_NORESERVE;
  if (path.empty()) {
    flags |= MAP_ANONYMOUS;
  } else {
    fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
      return false;
    }
    if (ftruncate(fd, static_cast<off_t>(size)) != 0) {
      close(fd);
      return false;
    }
  }
  void* data = mmap(nullptr, size, PROT_READ | PROT_WRITE, flags, fd, 0);
  if (fd >= 0) {
    close(fd);
  }
  if (data == MAP_FAILED) {
    return false;
  }
  data_ = static_cast<uint8_t*>(data);
  size_ = size;
  return true;
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
