#include "fw_state.h"

#include <cstdio>

#include "fw_log.h"

namespace {

constexpr uint8_t STATE_END = 128;

std::atomic<fw_update*> current_update = nullptr;

// Either thread may find the first fault.
constinit std::mutex cause_mutex;
char cause[256] = "";

}  // namespace

fw_update* fw_update_get() {
  return current_update.load(std::memory_order_acquire);
}

void fw_update_set(fw_update* update) {
  current_update.store(update, std::memory_order_release);
  const std::lock_guard guard(cause_mutex);
  cause[0] = '\0';
}

int32_t fw_fail(const char* function, int line, const std::string& text) {
  fw_log_line("upd_err", function, line, "%s\n", text.c_str());
  {
    const std::lock_guard guard(cause_mutex);
    if (cause[0] == '\0') {
      snprintf(cause, sizeof cause, "%s", text.c_str());
    }
  }
  kxtool_fw_fsm_set(FW_STATE_FAILED);
  return -1;
}

std::string fw_cause() {
  const std::lock_guard guard(cause_mutex);
  return cause;
}

bool fw_is_deaf(fw_update* update) {
  const char* reason = update->deafness == nullptr ? nullptr : update->deafness();
  if (reason != nullptr) {
    FW_FAIL("the card's answers cannot be heard: %s", reason);
  }
  return reason != nullptr;
}

void kxtool_fw_fsm_set(uint8_t state) {
  if (state < STATE_END) {
    fw_update_get()->state = state;
  }
}

uint8_t kxtool_fw_fsm_get() {
  return fw_update_get()->state;
}

bool fw_fsm_advance(fw_state from, fw_state to) {
  uint8_t expected = from;
  return fw_update_get()->state.compare_exchange_strong(expected, to);
}

bool fw_partition_is_known(const fw_update& update) {
  return update.cur_partition == 1 || update.cur_partition == 2;
}

bool fw_image_current(fw_update* update, fw_image* image) {
  const std::span<const fw_image> table = update->header.table();
  uint8_t index = update->image;
  while (index < table.size() && !table[index].is_written()) {
    ++index;
  }
  update->image = index;
  if (index >= table.size()) {
    return false;
  }
  *image = table[index];
  return true;
}
