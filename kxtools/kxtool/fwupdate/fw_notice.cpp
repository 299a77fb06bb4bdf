// What the card reports on its own while the update waits: erased, written, read back, finished. Runs on the receive
// thread.
#include <span>

#include "common/little_endian.h"
#include "common/report.h"
#include "fw_handlers.h"
#include "fw_log.h"
#include "fw_state.h"
#include "fw_timer.h"
#include "fwupdate/fwupdate.h"

namespace {

constexpr size_t NOTICE_COMMAND = 12;
constexpr size_t NOTICE_STATUS = 13;
constexpr size_t NOTICE_PARTITION = 16;
constexpr size_t NOTICE_SUM_SENT = 24;
constexpr size_t NOTICE_SUM_READ = 28;

enum notice_command : uint8_t {
  NOTICE_READ_BACK = 2,
  NOTICE_SUCCESS = 3,
  NOTICE_HEADER = 4,
  NOTICE_AUTHORISED_OLD = 18,
  NOTICE_WRITE = 23,
  NOTICE_AUTHORISED = 28,
};

enum write_status : uint8_t {
  WRITE_ERASED = 1,
  WRITE_ERASE_FAILED = 2,
  WRITE_FAILED = 4,
  WRITE_UMOUNT_FAILED = 12,
};
constexpr uint8_t HEADER_WRITTEN = 3;

constexpr uint32_t FLASH_RETRY_MAX = 9;
constexpr uint32_t SUM_RETRY_MAX = 2;

using notice_view = std::span<const uint8_t>;

// True while the command's thread waits for the answer to `phase`.
bool is_expected(const fw_update& update, fw_phase phase) {
  return update.state == FW_STATE_WAIT && update.phase == phase;
}

void log_unexpected(uint8_t command, uint8_t status) {
  FW_ERR("notice %d status %d is not expected now, ignored\n", command, status);
}

// The card tries again by itself until it has failed too often.
void count_failure(const char* what, const char* over, std::atomic<uint32_t>* failures) {
  const uint32_t count = failures->load();
  if (count <= FLASH_RETRY_MAX) {
    *failures = count + 1;
    FW_ERR("%s failed %u try fix\n", what, count + 1);
  } else {
    FW_FAIL("%s failed %s%u time", what, over, count);
  }
}

void take_write(fw_update* update, uint8_t status) {
  switch (status) {
    case WRITE_ERASED:
      if (!is_expected(*update, fw_phase::erasing)) {
        return log_unexpected(NOTICE_WRITE, status);
      }
      fw_cancel_timer(FW_TIMER_ERASE);
      update->phase = fw_phase::writing;
      kxtool_fw_fsm_set(FW_STATE_DATA);
      break;
    case WRITE_ERASE_FAILED:
      update->statistics_wanted = true;
      count_failure("erase", "over than max try ", &update->erase_failures);
      if (update->state == FW_STATE_FAILED) {
        update->phase = fw_phase::erase_failed;
      }
      fw_cancel_timer(FW_TIMER_ERASE);
      break;
    case WRITE_FAILED:
      update->statistics_wanted = true;
      count_failure("write", "", &update->write_failures);
      break;
    case WRITE_UMOUNT_FAILED:
      update->statistics_wanted = true;
      FW_FAIL("sys failed umount failed");
      break;
    default:
      log_unexpected(NOTICE_WRITE, status);
      break;
  }
}

void take_sum_mismatch(fw_update* update) {
  update->phase = fw_phase::mismatch;
  const uint32_t count = update->sum_failures;
  if (count > SUM_RETRY_MAX) {
    kx_print("crc failed! resent %u times failed! try to exit!\n", count);
    update->sum_failures = 0;
    update->statistics_wanted = true;
    FW_FAIL("crc failed! resent %u times failed! try to exit!", count);
    return;
  }
  update->sum_failures = count + 1;
  FW_ERR("crc failed %utry resent idx %d\n", count + 1, update->image.load());
  kxtool_fw_fsm_set(FW_STATE_ERASE);
}

void take_read_back(fw_update* update, notice_view notice) {
  if (notice.size() < NOTICE_SUM_READ + 4 || !is_expected(*update, fw_phase::reading)) {
    return log_unexpected(NOTICE_READ_BACK, notice[NOTICE_STATUS]);
  }
  fw_cancel_timer(FW_TIMER_READ_BACK);
  const uint32_t sum_sent = kx_le_get<uint32_t>(notice, NOTICE_SUM_SENT);
  const uint32_t sum_read = kx_le_get<uint32_t>(notice, NOTICE_SUM_READ);
  FW_INFO("orgcrc=%x curcrc=%x\n", sum_sent, sum_read);
  // The sum that the card echoes must be the one that was asked for: a notice of zeros proves nothing.
  if (sum_read != sum_sent || sum_sent != update->sum_sent) {
    return take_sum_mismatch(update);
  }
  update->sum_failures = 0;
  update->phase = fw_phase::none;
  update->image = static_cast<uint8_t>(update->image + 1);
  fw_image next;
  if (fw_image_current(update, &next)) {
    kxtool_fw_fsm_set(FW_STATE_ERASE);
  } else {
    fw_part_finish(update);
  }
}

void take_success(fw_update* update, uint8_t status) {
  if (!is_expected(*update, fw_phase::ending)) {
    return log_unexpected(NOTICE_SUCCESS, status);
  }
  kx_print("****kx firmware has write success, please reset(use BMC) to active!****\n");
  fw_cancel_timer(FW_TIMER_END);
  update->statistics_wanted = true;
  kxtool_fw_fsm_set(FW_STATE_FINISHED);
}

}  // namespace

void mts_fwupdate_recv_cb(const uint8_t* payload, uint32_t length) {
  fw_update* update = fw_update_get();
  if (update == nullptr || length <= NOTICE_STATUS) {
    return;
  }
  const std::lock_guard guard(update->lock);
  if (update->state == FW_STATE_FINISHED || update->state == FW_STATE_FAILED) {
    return;
  }
  const notice_view notice(payload, length);
  const uint8_t status = notice[NOTICE_STATUS];
  switch (notice[NOTICE_COMMAND]) {
    case NOTICE_WRITE:
      take_write(update, status);
      break;
    case NOTICE_READ_BACK:
      take_read_back(update, notice);
      break;
    case NOTICE_SUCCESS:
      take_success(update, status);
      break;
    case NOTICE_HEADER:
      if (status == HEADER_WRITTEN) {
        FW_INFO("KXPKGINFO write flash ok\n");
      }
      break;
    case NOTICE_AUTHORISED_OLD:
    case NOTICE_AUTHORISED:
      if (length >= NOTICE_PARTITION + 4) {
        FW_INFO(" risc is being executed on partition %-1d\n",
                static_cast<int>(kx_le_get<uint32_t>(notice, NOTICE_PARTITION)));
      }
      break;
    default:
      break;
  }
}
