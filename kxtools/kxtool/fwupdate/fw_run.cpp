#include "fw_run.h"

#include <cstring>

#include "common/report.h"
#include "common/signals.h"
#include "fw_flash_text.h"
#include "fw_handlers.h"
#include "fw_log.h"
#include "fw_plan.h"
#include "fw_timer.h"

namespace {

constexpr uint32_t TICK_US = 100000;

struct fw_state_row {
  char command[16];
  fw_state state;
  int32_t (*handler)(fw_update* update);
};

constexpr fw_state_row kxtool_fw_state_table[] = {
    {"version", FW_STATE_VERSION, kxtool_fw_version_get},
    {"part", FW_STATE_PART, kxtool_fw_bt_ctrl_get},
    {"flash_cnt", FW_STATE_FLASH_CNT, kxtool_fw_flash_cnt_get},
    {"bin", FW_STATE_PARSE, kxtool_fw_data_pack_parsing},
    {"bin", FW_STATE_AUTHORISE, kxtool_get_upd_auth_sync},
    {"bin", FW_STATE_HEADER, kxtool_kx_pkg_info_send},
    {"bin", FW_STATE_ERASE, kxtool_fw_upd_req_send},
    {"bin", FW_STATE_DATA, kxtool_fw_data_sendto_riscv},
    {"bin", FW_STATE_READ_BACK, kxtool_fw_upd_crc_req_send},
    {"bin", FW_STATE_END, kxtool_fw_end_req},
};
static_assert(sizeof kxtool_fw_state_table / sizeof kxtool_fw_state_table[0] == 10);

void run_row(fw_update* update) {
  const uint8_t state = kxtool_fw_fsm_get();
  for (const fw_state_row& row : kxtool_fw_state_table) {
    if (row.state == state && strcmp(row.command, update->command) == 0) {
      row.handler(update);
      return;
    }
  }
}

// An update writes flash, a query does not.
bool is_writing(const fw_update& update) {
  return update.package.kind != FW_KIND_NONE && kxtool_fw_fsm_get() != FW_STATE_FINISHED &&
         kxtool_fw_fsm_get() != FW_STATE_FAILED;
}

// Asked for by notices. What the card answers, or that it does not, changes no update.
void log_statistics(fw_update* update) {
  if (update->statistics_wanted.exchange(false)) {
    fw_flash_statistics_log(update);
  }
}

int update_finish(fw_update& update) {
  if (update.exit_status != 0) {
    return update.exit_status;
  }
  if (update.package.kind != FW_KIND_NONE) {
    fw_result_tell(&update);
  }
  FW_INFO("****upd finish,kxtool will exit!!****\n");
  return 0;
}

int update_fail(fw_update& update) {
  FW_ERR("****The update has failed. Please retry after a few minutes.****\n");
  kx_print("****The update has failed. Please retry after a few minutes.****\n");
  const std::string cause = fw_cause();
  if (!cause.empty()) {
    kx_error_print("cause: %s\n", cause.c_str());
  }
  fw_flash_report(update, "failed");
  return FW_EXIT_FAILED;
}

// A card that reported a failed erase tries again without a timer running; it gets the time of an erase for that.
class quiet_guard {
 public:
  explicit quiet_guard(uint32_t limit) : limit_(limit) {}
  void tick(const fw_update& update) {
    const bool unguarded =
        update.state == FW_STATE_WAIT && update.phase == fw_phase::erasing && !fw_timer_is_active(FW_TIMER_ERASE);
    const uint32_t failures = update.erase_failures;
    ticks_ = unguarded && failures == failures_ ? ticks_ + 1 : 0;
    failures_ = failures;
    if (ticks_ >= limit_) {
      fw_erase_timeout();
    }
  }

 private:
  uint32_t limit_;
  uint32_t ticks_ = 0;
  uint32_t failures_ = 0;
};

}  // namespace

int fw_run(fw_update* update) {
  quiet_guard guard(update->limits.erase);
  for (;;) {
    if (kx_signal_guard::raised() == 0 && !(is_writing(*update) && fw_is_deaf(update))) {
      run_row(update);
    }
    log_statistics(update);
    const uint8_t state = kxtool_fw_fsm_get();
    if (state == FW_STATE_FINISHED) {
      return update_finish(*update);
    }
    if (state == FW_STATE_FAILED) {
      return update_fail(*update);
    }
    if (kx_signal_guard::raised() != 0) {
      fw_flash_report(*update, "interrupted");
      return FW_EXIT_INTERRUPTED;
    }
    fw_timer_main(1);
    guard.tick(*update);
    fw_progress_draw(&update->progress);
    update->pause(TICK_US);
  }
}
