#include "dpp_dtb/dpp_dtb_cfg.h"

#include <atomic>

#include "dpp_dtb_internal.h"
#include "qlix_comm/check.h"

namespace {

constinit std::atomic<uint32_t> down_polls{2000};
constinit std::atomic<uint32_t> dump_polls{5000000};
constinit std::atomic<uint32_t> poll_delay_us{50};
uint32_t set(std::atomic<uint32_t>& value, uint32_t to) {
  value.store(to, std::memory_order_relaxed);
  return QLIX_COMM_OK;
}

uint32_t get(const std::atomic<uint32_t>& value) {
  return value.load(std::memory_order_relaxed);
}

uint32_t switch_set(uint32_t bit, uint32_t enable) {
  enable != 0 ? dtb_switches.fetch_or(bit) : dtb_switches.fetch_and(~bit);
  return QLIX_COMM_OK;
}

uint32_t switch_get(uint32_t bit) {
  return dtb_switch_on(bit) ? 1 : 0;
}

}  // namespace

constinit std::atomic<uint32_t> dtb_switches{0};

// A switch is 0 or 1.
#define DTB_SWITCH_SET(bit, enable)         \
  do {                                      \
    QLIX_COMM_CHECK_INDEX_UPPER(enable, 1); \
    return switch_set(bit, enable);         \
  } while (0)

uint32_t dpp_dtb_down_table_overtime_set(uint32_t polls) {
  return set(down_polls, polls);
}
uint32_t dpp_dtb_down_table_overtime_get() {
  return get(down_polls);
}
uint32_t dpp_dtb_dump_table_overtime_set(uint32_t polls) {
  return set(dump_polls, polls);
}
uint32_t dpp_dtb_dump_table_overtime_get() {
  return get(dump_polls);
}
uint32_t dpp_dtb_delay_overtime_set(uint32_t microseconds) {
  return set(poll_delay_us, microseconds);
}
uint32_t dpp_dtb_delay_overtime_get() {
  return get(poll_delay_us);
}
uint32_t dpp_dtb_info_check_set(uint32_t enable) {
  DTB_SWITCH_SET(DTB_SWITCH_INFO_CHECK, enable);
}
uint32_t dpp_dtb_info_check_en_get() {
  return switch_get(DTB_SWITCH_INFO_CHECK);
}
uint32_t dpp_dtb_prt_set(uint32_t enable) {
  DTB_SWITCH_SET(DTB_SWITCH_PRINT, enable);
}
uint32_t dpp_dtb_prt_get() {
  return switch_get(DTB_SWITCH_PRINT);
}
uint32_t dpp_dtb_prt_enable() {
  return switch_set(DTB_SWITCH_PRINT, 1);
}
uint32_t dpp_dtb_prt_disable() {
  return switch_set(DTB_SWITCH_PRINT, 0);
}
uint32_t dpp_dtb_soft_perf_test_set(uint32_t enable) {
  DTB_SWITCH_SET(DTB_SWITCH_SOFT_PERF, enable);
}
uint32_t dpp_dtb_soft_perf_test_get() {
  return switch_get(DTB_SWITCH_SOFT_PERF);
}
uint32_t dpp_dtb_hardware_perf_test_set(uint32_t enable) {
  DTB_SWITCH_SET(DTB_SWITCH_HARDWARE_PERF, enable);
}
uint32_t dpp_dtb_hardware_perf_test_get() {
  return switch_get(DTB_SWITCH_HARDWARE_PERF);
}
uint32_t dpp_dtb_debug_fun_set(uint32_t enable) {
  DTB_SWITCH_SET(DTB_SWITCH_DEBUG, enable);
}
uint32_t dpp_dtb_debug_fun_get() {
  return switch_get(DTB_SWITCH_DEBUG);
}
