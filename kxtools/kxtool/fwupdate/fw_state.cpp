#include "fw_state.h"

#include <cstdarg>
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

void fw_fail(const char* function, int line, const char* format, ...) {
  char text[sizeof cause];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);
  fw_log_line("upd_err", function, line, "%s\n", text);
  {
    const std::lock_guard guard(cause_mutex);
    if (cause[0] == '\0') {
      snprintf(cause, sizeof cause, "%s", text);
    }
  }
  kxtool_fw_fsm_set(FW_STATE_FAILED);
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
