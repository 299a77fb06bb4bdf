// Looking at the whole package before anything is sent: what a later state would refuse is refused here.
#include "common/report.h"
#include "fw_handlers.h"
#include "fw_log.h"
#include "fwupdate/package_check.h"

namespace {

void log_table(const fw_header& header) {
  FW_INFO("checksum=%4x\n", header.checksum);
  for (const fw_image& image : header.table()) {
    FW_INFO(" offset =0x%4x size=%u type=%d\n", image.flash_offset, image.size, image.type);
  }
}

uint64_t sent_size(const fw_header& header) {
  uint64_t size = 0;
  for (const fw_image& image : header.table()) {
    size += fw_image_sent_size(image);
  }
  return size;
}

int32_t refuse_damaged(uint32_t fw_cnt) {
  kx_print("invalid kx_pkg.fw_cnt =%u binary file was damaged during transfer!!!\n", fw_cnt);
  kx_print("tips: please download the binary file again!\n");
  kx_print("tips: please upload the binary file to the host again!\n");
  FW_ERR("invalid kx_pkg.fw_cnt =%u binary file was damaged during transfer!!!\n", fw_cnt);
  return -2;
}

// The lines for the first problem; `fw_cnt` is the count of its part. Returns the result of the state.
int32_t refuse(const fw_problem& problem, uint32_t fw_cnt) {
  switch (problem.kind) {
    case fw_problem_kind::boot_stage:
      FW_ERR("BL1 doesn't valid! %u\n", problem.value);
      return -1;
    case fw_problem_kind::no_kind:
      FW_ERR("invalid bin type \n");
      return -1;
    case fw_problem_kind::old_layout:
      kx_print("scp version was v0,stop doing firmware update!\n");
      FW_ERR("scp version was v0,stop doing firmware update!\n");
      return -1;
    case fw_problem_kind::image_offset:
      FW_ERR("sys fail: invalid msg_send offset %x\n", problem.value);
      return -1;
    case fw_problem_kind::image_device:
      FW_ERR("sys fail: invalid mtd_id %u\n", problem.value);
      return -1;
    case fw_problem_kind::identification:
      FW_ERR("boardtype get failed from verpkg!\n");
      return -1;
    case fw_problem_kind::no_header:
    case fw_problem_kind::count:
    case fw_problem_kind::image_data:
    case fw_problem_kind::seal:
      return refuse_damaged(fw_cnt);
  }
  return -1;
}

}  // namespace

int32_t kxtool_fw_data_pack_parsing(fw_update* update) {
  const std::vector<fw_problem> problems = fw_package_check(update->package);
  fw_header part_b;
  if (fw_package_header_read(update->package, FW_PART_A, &update->header) == 0) {
    log_table(update->header);
  }
  if (update->package.kind == FW_KIND_WHOLE_FLASH) {
    fw_package_header_read(update->package, FW_PART_B, &part_b);
  }
  if (!problems.empty()) {
    const fw_problem& first = problems.front();
    const int32_t result = refuse(first, first.part == FW_PART_A ? update->header.fw_cnt : part_b.fw_cnt);
    for (const fw_problem& problem : problems) {
      FW_FAIL("the package is refused: %s", problem.text.c_str());
    }
    return result;
  }
  update->total_size = sent_size(update->header) + sent_size(part_b);
  update->progress.total = update->total_size;
  kxtool_fw_fsm_set(FW_STATE_AUTHORISE);
  return 0;
}
