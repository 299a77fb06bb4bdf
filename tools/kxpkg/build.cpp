// Writing a package: headers, then the image files, into a temporary file that takes the output's name only when the
// update would accept it.
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "common/unique_fd.h"
#include "description.h"
#include "fwupdate/package_digest.h"
#include "kxpkg.h"

namespace {

constexpr size_t PIECE_SIZE = size_t{64} * 1024;

bool fail(const std::string& path) {
  fprintf(stderr, "kxpkg: %s: %s\n", path.c_str(), strerror(errno));
  return false;
}

void put_le32(uint8_t* out, uint32_t value) {
  for (uint32_t i = 0; i < 4; ++i) {
    out[i] = static_cast<uint8_t>(value >> (8 * i));
  }
}

// The output under its temporary name, which goes with the object unless it was renamed.
class output_file {
 public:
  explicit output_file(const char* path) : path_(path), temporary_(path_ + ".XXXXXX") {
    fd_.reset(mkostemp(temporary_.data(), O_CLOEXEC));
  }
  ~output_file() {
    if (fd_) {
      unlink(temporary_.c_str());
    }
  }
  output_file(const output_file&) = delete;
  output_file& operator=(const output_file&) = delete;

  bool is_open() const {
    return static_cast<bool>(fd_) || fail(path_);
  }
  const char* temporary() const {
    return temporary_.c_str();
  }

  bool write(uint64_t position, std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
      const ssize_t count = pwrite(fd_.get(), bytes.data(), bytes.size(), static_cast<off_t>(position));
      if (count < 0) {
        return fail(path_);
      }
      bytes = bytes.subspan(static_cast<size_t>(count));
      position += static_cast<size_t>(count);
    }
    return true;
  }

  // The seal goes where nothing of an image is sent, the rounding of its size included.
  bool seal(uint64_t end) {
    const uint64_t place = (end + FW_SEAL_MARK.size() - 1) / FW_SEAL_MARK.size() * FW_SEAL_MARK.size();
    if (place + FW_SEAL_SIZE > FW_PACKAGE_SIZE_MAX) {
      return true;  // a full flash leaves no room
    }
    fw_sha256 digest;
    if (ftruncate(fd_.get(), static_cast<off_t>(place)) != 0) {
      return fail(path_);
    }
    errno = fw_file_sha256(fd_.get(), place, &digest);
    return errno == 0 ? write(place, FW_SEAL_MARK) && write(place + FW_SEAL_MARK.size(), digest) : fail(path_);
  }

  bool keep() {
    const mode_t mask = umask(0);
    umask(mask);
    if (fchmod(fd_.get(), 0666 & ~mask) != 0 || fsync(fd_.get()) != 0 ||
        rename(temporary_.c_str(), path_.c_str()) != 0) {
      return fail(path_);
    }
    fd_.reset();
    return true;
  }

 private:
  std::string path_;
  std::string temporary_;
  kx_unique_fd fd_;
};

// Puts the pieces of a package into the output; no two may share bytes.
class builder {
 public:
  builder(const kxpkg_description& description, output_file* out) : description_(description), out_(out) {}
  bool write_package();

 private:
  struct region {
    std::string name;
    uint64_t start;
    uint64_t end;
  };

  bool claim(const std::string& name, uint64_t start, uint64_t size);
  bool copy_file(const std::string& path, uint64_t position, fw_image* image, uint32_t* sum);
  bool write_part(const kxpkg_part& part, uint64_t base);

  const kxpkg_description& description_;
  output_file* out_;
  std::vector<region> regions_;
};

bool builder::claim(const std::string& name, uint64_t start, uint64_t size) {
  const region added{name, start, start + size};
  for (const region& other : regions_) {
    if (added.start < other.end && other.start < added.end) {
      fprintf(stderr, "kxpkg: %s at file offset 0x%" PRIx64 " and %s at 0x%" PRIx64 " share bytes\n", name.c_str(),
              start, other.name.c_str(), other.start);
      return false;
    }
  }
  regions_.push_back(added);
  return true;
}

// Copies a file to `position`, stores its size and adds its bytes to `sum`.
bool builder::copy_file(const std::string& path, uint64_t position, fw_image* image, uint32_t* sum) {
  const kx_unique_fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat info = {};
  if (!file || fstat(file.get(), &info) != 0) {
    return fail(path);
  }
  const uint64_t size = static_cast<uint64_t>(info.st_size);
  if (!S_ISREG(info.st_mode) || size > FW_PACKAGE_SIZE_MAX || position > FW_PACKAGE_SIZE_MAX - size) {
    fprintf(stderr, "kxpkg: %s: is no file that fits into the package at 0x%" PRIx64 "\n", path.c_str(), position);
    return false;
  }
  if (!claim(path, position, size)) {
    return false;
  }
  std::array<uint8_t, PIECE_SIZE> piece;
  for (uint64_t at = 0; at < size;) {
    const ssize_t count = read(file.get(), piece.data(), std::min<uint64_t>(piece.size(), size - at));
    if (count <= 0) {
      errno = count == 0 ? EIO : errno;
      return fail(path);
    }
    const auto bytes = std::span<const uint8_t>(piece).first(static_cast<size_t>(count));
    if (!out_->write(position + at, bytes)) {
      return false;
    }
    *sum += fw_checksum(bytes);
    at += bytes.size();
  }
  image->size = static_cast<uint32_t>(size);
  return true;
}

// The checksum of a part is the sum of its header's bytes behind it and of all its image bytes.
bool builder::write_part(const kxpkg_part& part, uint64_t base) {
  fw_header header;
  header.fw_cnt = static_cast<uint32_t>(part.images.size());
  for (size_t i = 0; i < part.images.size(); ++i) {
    header.images[i] = {part.images[i].offset, 0, part.images[i].type};
  }
  fw_header_place(description_.kind, &header);
  uint32_t sum = 0;
  for (size_t i = 0; i < part.images.size(); ++i) {
    fw_image* image = &header.images[i];
    if (!part.images[i].file.empty() &&
        !copy_file(part.images[i].file, fw_image_position(header, *image), image, &sum)) {
      return false;
    }
    uint8_t* row = &header.bytes[FW_HEADER_TABLE + i * FW_TABLE_ROW_SIZE];
    put_le32(row, image->flash_offset);
    put_le32(row + 4, image->size);
    put_le32(row + 8, image->type);
  }
  std::ranges::copy(part.identification, header.bytes.begin() + FW_HEADER_IDENTIFICATION);
  put_le32(&header.bytes[FW_HEADER_COUNT], header.fw_cnt);
  sum += fw_checksum(std::span(header.bytes).subspan(FW_HEADER_IDENTIFICATION));
  put_le32(&header.bytes[FW_HEADER_CHECKSUM], sum);
  return claim("the header", base, header.bytes.size()) && out_->write(base, header.bytes);
}

bool builder::write_package() {
  fw_image boot_loader = {};
  uint32_t sum = 0;
  if (!description_.boot_loader.empty() && !copy_file(description_.boot_loader, 0, &boot_loader, &sum)) {
    return false;
  }
  const bool one_partition = description_.kind == FW_KIND_ONE_PARTITION;
  if (!write_part(description_.parts[0], one_partition ? FW_BASE_KIND_1 : FW_BASE_PART_A) ||
      (!one_partition && !write_part(description_.parts[1], FW_BASE_PART_B))) {
    return false;
  }
  uint64_t end = 0;
  for (const region& written : regions_) {
    end = std::max(end, written.end);
  }
  return out_->seal(end);
}

}  // namespace

int kxpkg_build(const char* description_path, const char* output) {
  kxpkg_description description;
  if (!kxpkg_description_read(description_path, &description)) {
    return 1;
  }
  output_file out(output);
  if (!out.is_open() || !builder(description, &out).write_package()) {
    return 1;
  }
  if (kxpkg_check(out.temporary(), output, nullptr, stderr) != 0) {
    return 1;
  }
  return out.keep() ? 0 : 1;
}
