// What the update refuses, in the order in which it would find it.
#include <cerrno>
#include <cinttypes>
#include <cstdarg>
#include <cstring>

#include "fwupdate/package.h"
#include "kxpkg.h"

namespace {

// Exit statuses of the update.
constexpr int STATUS_NO_HEADER = 2;
constexpr int STATUS_NO_BOARD_TYPE = 3;
constexpr int STATUS_FAILED = 7;

class report {
 public:
  report(const char* name, FILE* out) : name_(name), out_(out) {}
  [[gnu::format(printf, 3, 4)]] void add(int status, const char* format, ...) {
    fprintf(out_, "%s: ", name_);
    va_list args;
    va_start(args, format);
    vfprintf(out_, format, args);
    va_end(args);
    fprintf(out_, " (the update ends with status %d)\n", status);
    ++count_;
  }
  uint32_t count() const {
    return count_;
  }

 private:
  const char* name_;
  FILE* out_;
  uint32_t count_ = 0;
};

char part_letter(fw_package_part part) {
  return part == FW_PART_A ? 'A' : 'B';
}

bool check_open(const char* path, fw_package* package, report* found) {
  switch (fw_package_open(path, package)) {
    case fw_open_result::opened:
      return true;
    case fw_open_result::no_file:
      found->add(STATUS_FAILED, "cannot be opened: %s", strerror(errno));
      return false;
    case fw_open_result::no_regular_file:
      found->add(STATUS_FAILED, "is no regular file");
      return false;
    case fw_open_result::too_large:
      found->add(STATUS_FAILED, "is larger than the flash: %" PRIu64 " bytes, at most %" PRIu64, package->size,
                 FW_PACKAGE_SIZE_MAX);
      return false;
  }
  return false;
}

void check_identification(const fw_header& header, report* found) {
  fw_board_type type;
  const std::string_view text = header.identification();
  switch (fw_board_type_of_identification(text, &type)) {
    case fw_board_result::ok:
      break;
    case fw_board_result::invalid_format:
      found->add(STATUS_NO_BOARD_TYPE, "identification '%s' is not of the form TARN-FW-BOARDTYPE-XXX",
                 fw_text_printable(text).data());
      break;
    case fw_board_result::too_long:
      found->add(STATUS_NO_BOARD_TYPE, "identification '%s' has a board type of more than %u characters",
                 fw_text_printable(text).data(), FW_BOARD_TYPE_MAX);
      break;
  }
}

void check_images(const fw_package& package, fw_package_part part, const fw_header& header, report* found) {
  const char letter = part_letter(part);
  for (const fw_fault& fault : fw_table_check(package, header)) {
    const fw_image& image = header.images[fault.image];
    if (fault.reason == fw_fault_reason::beyond_file) {
      found->add(STATUS_FAILED, "part %c image %u: %u bytes at file offset 0x%" PRIx64 " reach past the file's end",
                 letter, fault.image, image.size, fw_image_position(header, image));
    } else {
      found->add(STATUS_FAILED, "part %c image %u: overlaps image %u", letter, fault.image, fault.other);
    }
  }
  for (uint32_t i = 0; i < header.table().size(); ++i) {
    const fw_image& image = header.images[i];
    if (image.is_written() && !image.is_aligned()) {
      found->add(STATUS_FAILED, "part %c image %u: flash offset 0x%x is no multiple of %u", letter, i,
                 image.flash_offset, FW_ERASE_BLOCK);
    }
    if (image.is_written() && !image.has_device()) {
      found->add(STATUS_FAILED, "part %c image %u: flash device id %u is not below %u", letter, i, image.type,
                 FW_DEVICE_ID_END);
    }
  }
}

void check_part(const fw_package& package, fw_package_part part, report* found) {
  fw_header header;
  if (fw_package_header_read(package, part, &header) != 0) {
    found->add(part == FW_PART_A ? STATUS_NO_HEADER : STATUS_FAILED,
               "part %c: no header with a whole image table at file offset 0x%" PRIx64, part_letter(part),
               fw_package_base(package, part));
    return;
  }
  if (part == FW_PART_A) {
    check_identification(header, found);
  }
  if (!header.count_is_valid()) {
    found->add(STATUS_FAILED, "part %c: %u images, must be 1 to %u", part_letter(part), header.fw_cnt,
               FW_IMAGE_NUM_MAX);
    return;
  }
  if (part == FW_PART_A && fw_header_is_old_layout(header)) {
    found->add(STATUS_FAILED, "old layout: image 0 of type 1 lies at 0x%x", header.images[0].flash_offset);
  }
  check_images(package, part, header, found);
}

}  // namespace

uint32_t kxpkg_check(const char* path, const char* name, FILE* out) {
  report found(name, out);
  fw_package package;
  if (!check_open(path, &package, &found)) {
    return found.count();
  }
  if (package.kind == FW_KIND_NONE) {
    found.add(STATUS_FAILED, "is too short for a package: %" PRIu64 " bytes", package.size);
    return found.count();
  }
  const int32_t error = fw_package_boot_stage_check(package);
  if (error != 0) {
    found.add(STATUS_FAILED, "the bytes before the header cannot be read: %s", strerror(error));
  }
  check_part(package, FW_PART_A, &found);
  if (package.kind == FW_KIND_WHOLE_FLASH) {
    check_part(package, FW_PART_B, &found);
  }
  return found.count();
}
