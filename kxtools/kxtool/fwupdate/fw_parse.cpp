// Looking at the whole package before anything is sent.
#include <cinttypes>

#include "fw_handlers.h"
#include "fw_log.h"

namespace {

int32_t refuse_damaged(const fw_header& header) {
  fw_print("invalid kx_pkg.fw_cnt =%u binary file was damaged during transfer!!!\n", header.fw_cnt);
  fw_print("tips: please download the binary file again!\n");
  fw_print("tips: please upload the binary file to the host again!\n");
  FW_ERR("invalid kx_pkg.fw_cnt =%u binary file was damaged during transfer!!!\n", header.fw_cnt);
  kxtool_fw_fsm_set(FW_STATE_FAILED);
  return -2;
}

void log_table(const fw_header& header) {
  FW_INFO("checksum=%4x\n", header.checksum);
  for (const fw_image& image : header.table()) {
    FW_INFO(" offset =0x%4x size=%u type=%d\n", image.flash_offset, image.size, image.type);
  }
}

// Images whose data the file does not hold, or holds twice. Each is named in the log.
bool has_faults(const fw_package& package, const fw_header& header) {
  const std::vector<fw_fault> faults = fw_table_check(package, header);
  for (const fw_fault& fault : faults) {
    const fw_image& image = header.images[fault.image];
    if (fault.reason == fw_fault_reason::beyond_file) {
      FW_ERR("image %u: %u bytes at file offset 0x%" PRIx64 " reach past the file's end at 0x%" PRIx64 "\n",
             fault.image, image.size, fw_image_position(header, image), package.size);
    } else {
      FW_ERR("image %u overlaps image %u\n", fault.image, fault.other);
    }
  }
  return !faults.empty();
}

uint64_t sent_size(const fw_header& header) {
  uint64_t size = 0;
  for (const fw_image& image : header.table()) {
    size += fw_image_sent_size(image);
  }
  return size;
}

int32_t check_part_b(fw_update* update) {
  fw_header header;
  if (fw_package_header_read(update->package, FW_PART_B, &header) != 0) {
    FW_ERR("there is no header of part B at file offset 0x%" PRIx64 "\n", FW_BASE_PART_B);
    return refuse_damaged(header);
  }
  if (!header.count_is_valid() || has_faults(update->package, header)) {
    return refuse_damaged(header);
  }
  update->total_size += sent_size(header);
  return 0;
}

}  // namespace

int32_t kxtool_fw_data_pack_parsing(fw_update* update) {
  fw_header* header = &update->header;
  const int32_t error = fw_package_boot_stage_check(update->package);
  if (error != 0) {
    FW_ERR("BL1 doesn't valid! %d\n", error);
    kxtool_fw_fsm_set(FW_STATE_FAILED);
    return -1;
  }
  if (fw_package_header_read(update->package, FW_PART_A, header) != 0 || !header->count_is_valid()) {
    return refuse_damaged(*header);
  }
  log_table(*header);
  if (fw_header_is_old_layout(*header)) {
    fw_print("scp version was v0,stop doing firmware update!\n");
    FW_ERR("scp version was v0,stop doing firmware update!\n");
    kxtool_fw_fsm_set(FW_STATE_FAILED);
    return -1;
  }
  if (has_faults(update->package, *header)) {
    return refuse_damaged(*header);
  }
  update->total_size = sent_size(*header);
  if (update->package.kind == FW_KIND_NONE) {
    FW_ERR("invalid bin type \n");
    kxtool_fw_fsm_set(FW_STATE_FAILED);
    return -1;
  }
  if (update->package.kind == FW_KIND_WHOLE_FLASH && check_part_b(update) != 0) {
    return -2;
  }
  update->progress.total = update->total_size;
  kxtool_fw_fsm_set(FW_STATE_AUTHORISE);
  return 0;
}
