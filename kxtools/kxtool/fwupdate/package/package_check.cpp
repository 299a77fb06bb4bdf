#include "fwupdate/package_check.h"

#include <cerrno>
#include <cinttypes>
#include <cstring>

#include "common/plural.h"
#include "common/text.h"
#include "fwupdate/package_digest.h"

namespace {

constexpr int STATUS_NO_HEADER = 2;
constexpr int STATUS_NO_BOARD_TYPE = 3;
constexpr int STATUS_FAILED = 7;

class checker {
 public:
  explicit checker(const fw_package& package) : package_(package) {}
  std::vector<fw_problem> run();

 private:
  void add(fw_problem_kind kind, uint32_t value, std::string text) {
    problems_.push_back({kind, part_, value, std::move(text)});
  }
  void identification(const fw_header& header);
  void images(const fw_header& header);
  void part(fw_package_part part);

  char letter() const {
    return part_ == FW_PART_A ? 'A' : 'B';
  }

  const fw_package& package_;
  fw_package_part part_ = FW_PART_A;
  std::vector<fw_problem> problems_;
};

void checker::identification(const fw_header& header) {
  fw_board_type type;
  const auto text = fw_text_printable(header.identification());
  switch (fw_board_type_of_identification(header.identification(), &type)) {
    case fw_board_result::ok:
      break;
    case fw_board_result::invalid_format:
      add(fw_problem_kind::identification, 0,
          kx_text("identification '%s' is not of the form TARN-FW-BOARDTYPE-XXX", text.data()));
      break;
    case fw_board_result::too_long:
      add(fw_problem_kind::identification, 0,
          kx_text("identification '%s' has a board type of more than %u characters", text.data(), FW_BOARD_TYPE_MAX));
      break;
  }
}

void checker::images(const fw_header& header) {
  for (const fw_fault& fault : fw_table_check(package_, header)) {
    const fw_image& image = header.images[fault.image];
    if (fault.reason == fw_fault_reason::beyond_file) {
      add(fw_problem_kind::image_data, 0,
          kx_text("part %c image %u: %u byte%s at file offset 0x%" PRIx64 " reach%s past the file's end at 0x%" PRIx64,
                  letter(), fault.image, image.size, kx_plural(image.size), fw_image_position(header, image),
                  image.size == 1 ? "es" : "", package_.size));
    } else {
      add(fw_problem_kind::image_data, 0,
          kx_text("part %c image %u overlaps image %u", letter(), fault.image, fault.other));
    }
  }
  for (uint32_t i = 0; i < header.table().size(); ++i) {
    const fw_image& image = header.images[i];
    if (image.is_written() && !image.is_aligned()) {
      add(fw_problem_kind::image_offset, image.flash_offset,
          kx_text("part %c image %u: flash offset 0x%x is no multiple of %u", letter(), i, image.flash_offset,
                  FW_ERASE_BLOCK));
    }
    if (image.is_written() && !image.has_device()) {
      add(fw_problem_kind::image_device, image.type,
          kx_text("part %c image %u: flash device id %u is not below %u", letter(), i, image.type, FW_DEVICE_ID_END));
    }
  }
}

void checker::part(fw_package_part part) {
  part_ = part;
  fw_header header;
  if (fw_package_header_read(package_, part, &header) != 0) {
    add(fw_problem_kind::no_header, 0,
        kx_text("part %c: no header with a whole image table at file offset 0x%" PRIx64, letter(),
                fw_package_base(package_, part)));
    return;
  }
  if (part == FW_PART_A) {
    identification(header);
  }
  if (!header.count_is_valid()) {
    add(fw_problem_kind::count, header.fw_cnt,
        kx_text("part %c: %u images, must be 1 to %u", letter(), header.fw_cnt, FW_IMAGE_NUM_MAX));
    return;
  }
  if (part == FW_PART_A && fw_header_is_old_layout(header)) {
    add(fw_problem_kind::old_layout, 0,
        kx_text("old layout: image 0 of type 1 lies at 0x%x", header.images[0].flash_offset));
  }
  images(header);
}

std::vector<fw_problem> checker::run() {
  const int32_t error = fw_package_boot_stage_check(package_);
  if (error != 0 && error != ENODATA) {
    add(fw_problem_kind::boot_stage, static_cast<uint32_t>(error),
        kx_text("the bytes before the header cannot be read: %s", strerror(error)));
  } else if (error != 0) {
    add(fw_problem_kind::boot_stage, ENODATA,
        kx_text("too short for a package: %" PRIu64 " byte%s", package_.size, kx_plural(package_.size)));
  } else if (package_.kind == FW_KIND_NONE) {
    add(fw_problem_kind::no_kind, 0, "neither a package of one partition nor one of the whole flash");
  }
  if (package_.kind == FW_KIND_NONE) {
    return problems_;
  }
  part(FW_PART_A);
  if (package_.kind == FW_KIND_WHOLE_FLASH) {
    part(FW_PART_B);
  }
  if (fw_seal_check(package_) == fw_seal::broken) {
    add(fw_problem_kind::seal, 0, "the file is damaged: its SHA-256 is not the one that was sealed when it was made");
  }
  return problems_;
}

}  // namespace

int fw_problem::status() const {
  if (kind == fw_problem_kind::identification) {
    return STATUS_NO_BOARD_TYPE;
  }
  return kind == fw_problem_kind::no_header && part == FW_PART_A ? STATUS_NO_HEADER : STATUS_FAILED;
}

std::vector<fw_problem> fw_package_check(const fw_package& package) {
  return checker(package).run();
}
