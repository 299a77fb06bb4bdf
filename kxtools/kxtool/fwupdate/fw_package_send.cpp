// What goes on between the images: a package's header before the first one, its next part or its end after the last.
#include <algorithm>
#include <array>

#include "common/little_endian.h"
#include "fw_handlers.h"
#include "fw_log.h"
#include "fw_message.h"
#include "fw_timer.h"

namespace {

constexpr uint8_t REQUEST_HEADER = 19;
constexpr size_t HEADER_DATA = 8;
constexpr uint8_t REQUEST_END = 22;
constexpr size_t END_LEN = 5;

constexpr uint32_t OS_TYPE_PARTITIONS = 1;  // the card's processor runs from one of two partitions
constexpr uint32_t PARTITION_1 = static_cast<uint32_t>(FW_BASE_PART_A);
constexpr uint32_t PARTITION_2 = static_cast<uint32_t>(FW_BASE_PART_B);
static_assert(PARTITION_1 % FW_ERASE_BLOCK == 0 && PARTITION_2 % FW_ERASE_BLOCK == 0);

// Where in the flash the header goes: for one partition to the one that does not run.
uint32_t header_offset(const fw_update& update) {
  if (update.device->os_type != OS_TYPE_PARTITIONS) {
    return 0;
  }
  const bool to_first =
      update.package.kind == FW_KIND_ONE_PARTITION ? update.cur_partition != 1 : update.part == FW_PART_A;
  return to_first ? PARTITION_1 : PARTITION_2;
}

// Reads the header of the current part again: the file may have changed since it was looked at.
bool reload(fw_update* update) {
  if (fw_package_header_read(update->package, static_cast<fw_package_part>(update->part.load()), &update->header) !=
          0 ||
      !update->header.count_is_valid()) {
    FW_FAIL("the header of part %d cannot be read", update->part.load());
    return false;
  }
  return true;
}

}  // namespace

int32_t kxtool_kx_pkg_info_send(fw_update* update) {
  kxtool_fw_fsm_set(FW_STATE_WAIT);
  if (!reload(update)) {
    return -1;
  }
  const fw_header& header = update->header;
  std::array<uint8_t, HEADER_DATA + FW_HEADER_SIZE> request = {REQUEST_HEADER, header.images[0].type};
  kx_le_put(request, 2, static_cast<uint16_t>(header.length));
  kx_le_put<uint32_t>(request, 4, header_offset(*update));
  std::copy_n(header.bytes.begin(), header.length, request.begin() + HEADER_DATA);
  update->header_sent = true;
  update->phase = fw_phase::none;
  if (kxtool_fw_msg_send_sync_no_reply(update, std::span(request).first(HEADER_DATA + header.length)) != 0) {
    return FW_FAIL("the package header was not taken");
  }
  update->image = 0;
  // A notice may have failed the update meanwhile.
  return fw_fsm_advance(FW_STATE_WAIT, FW_STATE_ERASE) ? 0 : -1;
}

void fw_part_finish(fw_update* update) {
  if (update->package.kind == FW_KIND_WHOLE_FLASH && update->part == FW_PART_A) {
    FW_INFO("try to update part B\n");
    update->part = FW_PART_B;
    update->image = 0;
    if (fw_package_header_read(update->package, FW_PART_B, &update->header) != 0) {
      FW_FAIL("the header of part B cannot be read");
    }
    // Its handler reads the header again and fails on a bad one.
    kxtool_fw_fsm_set(FW_STATE_HEADER);
    return;
  }
  FW_INFO("UPD_FW_END is sent\n");
  fw_start_timer(FW_TIMER_END, update->limits.end);
  kxtool_fw_fsm_set(FW_STATE_END);
}

int32_t kxtool_fw_end_req(fw_update* update) {
  kxtool_fw_fsm_set(FW_STATE_WAIT);
  if (!reload(update)) {
    return -1;
  }
  update->phase = fw_phase::ending;
  update->progress.image = 0;
  fw_progress_phase(&update->progress, "finishing");
  std::array<uint8_t, END_LEN> request = {REQUEST_END};
  kx_le_put<uint32_t>(request, 1, static_cast<uint32_t>(update->package.size));
  if (kxtool_fw_msg_send_sync_no_reply(update, request) != 0) {
    return FW_FAIL("the end of the update was not taken");
  }
  return 0;
}
