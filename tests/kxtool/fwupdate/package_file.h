// Package files for tests: bytes of a header, a file of their own, and two packages whose images the flash must hold.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "../../bytes.h"

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

inline bytes header(const std::vector<row>& rows) {
  return header(IDENTIFICATION, rows);
}

/// A sparse file with a path: in memory, where it is gone with the object, or at a path of the test's own.
class file {
 public:
  file() : fd_(memfd_create("package", MFD_CLOEXEC)), path_("/proc/self/fd/" + std::to_string(fd_)) {}
  explicit file(const std::string& path) : fd_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)), path_(path) {}
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

inline constexpr uint64_t PARTITION_1 = 0x40000;
inline constexpr uint64_t PARTITION_2 = 0x3300000;
inline const bytes IMAGE_A = counted_bytes(5000);
inline const bytes IMAGE_B = counted_bytes(2029, 7);

/// One partition, in which `rows` place both images: at 0x41000 and 0x43000.
inline void one_partition_put(file* package, std::string_view identification, const std::vector<row>& rows) {
  package->put(256, header(identification, rows)).put(256 + 0x1000, IMAGE_A).put(256 + 0x3000, IMAGE_B);
}

/// The whole flash, with one image in each partition.
inline void whole_flash_put(file* package, std::string_view identification) {
  package->put(PARTITION_1, header(identification, {{0x41000, 5000, 2}})).put(0x41000, IMAGE_A);
  package->put(PARTITION_2, header(identification, {{0x3303000, 2029, 2}})).put(0x3303000, IMAGE_B);
}

/// A card's flash, which is a file.
struct flash_file {
  std::string path;

  /// Its bytes, none where it ends before.
  bytes operator()(uint64_t address, size_t length) const {
    bytes out(length);
    std::ifstream flash(path, std::ios::binary);
    flash.seekg(static_cast<std::streamoff>(address));
    flash.read(reinterpret_cast<char*>(out.data()), static_cast<std::streamsize>(length));
    return flash ? out : bytes();
  }
  /// True when it holds the images where the packages put them, each in its partition.
  bool holds_images(uint64_t partition_a, uint64_t partition_b) const {
    return (*this)(partition_a + 0x1000, IMAGE_A.size()) == IMAGE_A &&
           (*this)(partition_b + 0x3000, IMAGE_B.size()) == IMAGE_B;
  }
};

}  // namespace package_file
