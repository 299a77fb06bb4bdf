// Package files for tests: bytes of a header and a file that exists only in memory.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

namespace package_file {

using bytes = std::vector<uint8_t>;

inline constexpr std::string_view IDENTIFICATION = "TARN-FW-EVB-1.0.0";

inline void put_le32(bytes* out, uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) {
    out->push_back(static_cast<uint8_t>(value >> shift));
  }
}

struct row {
  uint32_t offset;
  uint32_t size;
  uint32_t type;
};

inline bytes header(std::string_view identification, const std::vector<row>& rows) {
  bytes out;
  put_le32(&out, 0x12345678);
  for (size_t i = 0; i < 64; ++i) {
    out.push_back(i < identification.size() ? static_cast<uint8_t>(identification[i]) : 0);
  }
  put_le32(&out, static_cast<uint32_t>(rows.size()));
  for (const row& image : rows) {
    put_le32(&out, image.offset);
    put_le32(&out, image.size);
    put_le32(&out, image.type);
  }
  return out;
}

/// `size` bytes that count up from `first`.
inline bytes pattern(size_t size, uint8_t first = 1) {
  bytes out(size);
  std::iota(out.begin(), out.end(), first);
  return out;
}

/// A sparse file in memory with a path; gone with the object.
class file {
 public:
  file() : fd_(memfd_create("package", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(fd_)) {}
  ~file() {
    close(fd_);
  }
  file(const file&) = delete;
  file& operator=(const file&) = delete;

  file& put(uint64_t position, const bytes& data) {
    ok_ =
        pwrite(fd_, data.data(), data.size(), static_cast<off_t>(position)) == static_cast<ssize_t>(data.size()) && ok_;
    return *this;
  }
  file& resize(uint64_t size) {
    ok_ = ftruncate(fd_, static_cast<off_t>(size)) == 0 && ok_;
    return *this;
  }
  bool ok() const {
    return fd_ >= 0 && ok_;
  }
  const char* path() const {
    return path_.c_str();
  }

 private:
  int fd_;
  std::string path_;
  bool ok_ = true;
};

}  // namespace package_file
