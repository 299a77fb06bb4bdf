#include "fw_timer.h"

#include <atomic>

#include "common/report.h"
#include "fw_log.h"
#include "fw_state.h"

namespace {

struct timer_row {
  uint32_t tim_id;
  std::atomic<uint32_t> active;
  std::atomic<uint32_t> ticks;  // remaining
  void (*expired)();
};

void timer_fail(const char* message) {
  kx_print("%s\n", message);
  FW_FAIL("%s", message);
}

void read_back_timeout() {
  timer_fail("The firmware update failed due to a timeout while reading the flash memory!");
}

void end_timeout() {
  timer_fail("The firmware update failed due to a timeout while copy scp to partition 1 !");
}

constinit timer_row tim_cfg_tbl[] = {
    {FW_TIMER_ERASE, 0, 0, fw_erase_timeout},
    {FW_TIMER_READ_BACK, 0, 0, read_back_timeout},
    {FW_TIMER_END, 0, 0, end_timeout},
};

timer_row* find(uint32_t tim_id) {
  for (timer_row& row : tim_cfg_tbl) {
    if (row.tim_id == tim_id) {
      return &row;
    }
  }
  FW_ERR("tim_id %u was not found!\n", tim_id);
  return nullptr;
}

void tick(timer_row* row) {
  uint32_t ticks = row->ticks;
  if (row->active == 0 || ticks == 0) {
    return;
  }
  const uint32_t left = ticks - 1 == 1 ? 0 : ticks - 1;
  // A notice that cancels or a restart at this moment wins.
  if (row->ticks.compare_exchange_strong(ticks, left) && left == 0 && row->active.exchange(0) != 0) {
    row->expired();
  }
}

}  // namespace

void fw_erase_timeout() {
  timer_fail("The firmware update failed due to a timeout while erasing the flash memory!");
}

void fw_start_timer(uint32_t tim_id, uint32_t ticks) {
  timer_row* row = find(tim_id);
  if (row != nullptr) {
    row->ticks = ticks;
    row->active = 1;
  }
}

void fw_cancel_timer(uint32_t tim_id) {
  timer_row* row = find(tim_id);
  if (row != nullptr) {
    row->active = 0;
    row->ticks = 0;
  }
}

bool fw_timer_is_active(uint32_t tim_id) {
  const timer_row* row = find(tim_id);
  return row != nullptr && row->active != 0;
}

void fw_timer_main(uint32_t ticks) {
  for (; ticks > 0; --ticks) {
    for (timer_row& row : tim_cfg_tbl) {
      tick(&row);
    }
  }
}
