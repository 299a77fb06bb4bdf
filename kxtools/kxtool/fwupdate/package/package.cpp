// Reading a package file: opening it, its kind, its headers and its images.
#include "fwupdate/package.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "common/little_endian.h"
#include "package_read.h"

namespace {

constexpr uint32_t OLD_LAYOUT_TYPE = 1;
constexpr uint32_t OLD_LAYOUT_END = 0x10000;

// Reads and decodes the header at `base`. Returns 0, or -1 when the file does not hold one with its whole table.
int32_t header_read(int fd, uint64_t base, fw_header* header) {
  *header = {};
  const ssize_t length = fw_read_at(fd, base, header->bytes);
  if (length < FW_HEADER_TABLE) {
    return -1;
  }
  header->length = static_cast<uint32_t>(length);
  header->checksum = kx_le_get<uint32_t>(header->bytes, FW_HEADER_CHECKSUM);
  header->fw_cnt = kx_le_get<uint32_t>(header->bytes, FW_HEADER_COUNT);
  if (!header->count_is_valid()) {
    return 0;
  }
  if (header->length < FW_HEADER_TABLE + header->fw_cnt * FW_TABLE_ROW_SIZE) {
    return -1;
  }
  for (uint32_t i = 0; i < header->fw_cnt; ++i) {
    const size_t row = FW_HEADER_TABLE + size_t{i} * FW_TABLE_ROW_SIZE;
    header->images[i] = {kx_le_get<uint32_t>(header->bytes, row), kx_le_get<uint32_t>(header->bytes, row + 4),
                         header->bytes[row + 8]};
  }
  return 0;
}

bool is_marked(int fd, uint64_t base) {
  fw_header header;
  std::array<uint8_t, FW_HEADER_TABLE> fixed;
  if (fw_read_at(fd, base, fixed) != FW_HEADER_TABLE) {
    return false;
  }
  std::copy(fixed.begin(), fixed.end(), header.bytes.begin());
  return header.identification().find(FW_IDENTIFICATION_MARK) != std::string_view::npos;
}

fw_package_kind kind_find(const fw_package& package) {
  const int fd = package.fd.get();
  if (is_marked(fd, FW_BASE_PART_A)) {
    return FW_KIND_WHOLE_FLASH;
  }
  if (is_marked(fd, FW_BASE_KIND_1)) {
    return FW_KIND_ONE_PARTITION;
  }
  if (package.size > FW_BASE_PART_B) {
    return FW_KIND_WHOLE_FLASH;
  }
  fw_header header;
  return header_read(fd, FW_BASE_KIND_1, &header) == 0 ? FW_KIND_ONE_PARTITION : FW_KIND_NONE;
}

}  // namespace

std::string_view fw_header::identification() const {
  const char* text = reinterpret_cast<const char*>(bytes.data()) + FW_HEADER_IDENTIFICATION;
  return {text, strnlen(text, FW_IDENTIFICATION_SIZE)};
}

fw_open_result fw_package_open(const char* path, fw_package* package) {
  *package = {};
  // O_NONBLOCK: the path may name a FIFO, which must not block.
  package->fd.reset(open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat info = {};
  if (!package->fd || fstat(package->fd.get(), &info) != 0) {
    return fw_open_result::no_file;
  }
  if (!S_ISREG(info.st_mode)) {
    return fw_open_result::no_regular_file;
  }
  package->size = static_cast<uint64_t>(info.st_size);
  if (package->size > FW_PACKAGE_SIZE_MAX) {
    return fw_open_result::too_large;
  }
  package->kind = kind_find(*package);
  return fw_open_result::opened;
}

uint64_t fw_package_base(const fw_package& package, fw_package_part part) {
  if (part == FW_PART_B) {
    return FW_BASE_PART_B;
  }
  return package.kind == FW_KIND_ONE_PARTITION ? FW_BASE_KIND_1 : FW_BASE_PART_A;
}

int32_t fw_package_boot_stage_check(const fw_package& package) {
  std::array<uint8_t, 4096> piece;
  const uint64_t end = fw_package_base(package, FW_PART_A);
  for (uint64_t at = 0; at < end; at += piece.size()) {
    const auto out = std::span(piece).first(std::min<uint64_t>(piece.size(), end - at));
    const ssize_t count = fw_read_at(package.fd.get(), at, out);
    if (count < 0) {
      return errno;
    }
    if (static_cast<size_t>(count) < out.size()) {
      return ENODATA;
    }
  }
  return 0;
}

int32_t fw_package_header_read(const fw_package& package, fw_package_part part, fw_header* header) {
  if (header_read(package.fd.get(), fw_package_base(package, part), header) != 0) {
    return -1;
  }
  fw_header_place(package.kind, header);
  return 0;
}

void fw_header_place(fw_package_kind kind, fw_header* header) {
  header->data_base = 0;
  header->home = 0;
  if (kind == FW_KIND_ONE_PARTITION) {
    const auto below = [](const fw_image& image) { return image.flash_offset < FW_BASE_PART_A; };
    header->home = std::ranges::any_of(header->table(), below) ? 0 : static_cast<uint32_t>(FW_BASE_PART_A);
    header->data_base = FW_BASE_KIND_1;
  }
}

bool fw_header_is_old_layout(const fw_header& header) {
  const fw_image& first = header.images[0];
  return header.count_is_valid() && first.type == OLD_LAYOUT_TYPE && first.flash_offset < OLD_LAYOUT_END;
}

std::vector<fw_fault> fw_table_check(const fw_package& package, const fw_header& header) {
  std::vector<fw_fault> faults;
  const std::span<const fw_image> table = header.table();
  for (uint32_t i = 0; i < table.size(); ++i) {
    if (!table[i].is_written()) {
      continue;
    }
    const uint64_t start = table[i].flash_offset;
    const uint64_t end = start + table[i].size;
    if (fw_image_position(header, table[i]) + table[i].size > package.size) {
      faults.push_back({fw_fault_reason::beyond_file, i, i});
    }
    for (uint32_t j = 0; j < i; ++j) {
      const uint64_t other_start = table[j].flash_offset;
      if (start < other_start + table[j].size && other_start < end && table[j].is_written()) {
        faults.push_back({fw_fault_reason::overlap, i, j});
      }
    }
  }
  return faults;
}

uint64_t fw_image_position(const fw_header& header, const fw_image& image) {
  return header.data_base + (image.flash_offset - header.home);
}

int32_t fw_image_read(const fw_package& package, const fw_header& header, const fw_image& image, uint64_t at,
                      std::span<uint8_t> out) {
  const ssize_t count = fw_read_at(package.fd.get(), fw_image_position(header, image) + at, out);
  if (count < 0 || (static_cast<size_t>(count) < out.size() && at + static_cast<uint64_t>(count) < image.size)) {
    return -1;
  }
  std::ranges::fill(out.subspan(static_cast<size_t>(count)), uint8_t{0});
  return 0;
}

int32_t fw_image_checksum(const fw_package& package, const fw_header& header, const fw_image& image, uint32_t* sum) {
  std::array<uint8_t, FW_PIECE_SIZE> piece;
  *sum = 0;
  for (uint64_t at = 0; at < image.size; at += piece.size()) {
    const auto out = std::span(piece).first(std::min<uint64_t>(piece.size(), image.size - at));
    if (fw_image_read(package, header, image, at, out) != 0) {
      return -1;
    }
    *sum += fw_checksum(out);
  }
  return 0;
}
