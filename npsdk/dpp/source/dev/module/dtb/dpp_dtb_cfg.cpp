#include "dpp_dtb/dpp_dtb_cfg.h"

#include <atomic>

#include "qlix_comm/check.h"

namespace {

constinit std::atomic<uint32_t> down_polls{2000};
constinit std::atomic<uint32_t> dump_polls{5000000};
constinit std::atomic<uint32_t> poll_delay_us{50};
constinit std::atomic<uint32_t> info_check{0};
constinit std::atomic<uint32_t> print{0};
constinit std::atomic<uint32_t> soft_perf{0};
constinit std::atomic<uint32_t> hardware_perf{0};
constinit std::atomic<uint32_t> debug{0};

uint32_t set(std::atomic<uint32_t>& value, uint32_t to) {
  value.store(to, std::memory_order_relaxed);
  return QLIX_COMM_OK;
}

uint32_t get(const std::atomic<uint32_t>& value) {
  return value.load(std::memory_order_relaxed);
}

}  // namespace

// A switch is 0 or 1.
#define DTB_SWITCH_SET(value, enable)       \
  do {                                      \
    QLIX_COMM_CHECK_INDEX_UPPER(enable, 1); \
    return set(value, enable);              \
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
  DTB_SWITCH_SET(info_check, enable);
}
uint32_t dpp_dtb_info_check_en_get() {
  return get(info_check);
}
uint32_t dpp_dtb_prt_set(uint32_t enable) {
  DTB_SWITCH_SET(print, enable);
}
uint32_t dpp_dtb_prt_get() {
  return get(print);
}
uint32_t dpp_dtb_prt_enable() {
  return set(print, 1);
}
uint32_t dpp_dtb_prt_disable() {
  return set(print, 0);
}
uint32_t dpp_dtb_soft_perf_test_set(uint32_t enable) {
  DTB_SWITCH_SET(soft_perf, enable);
}
uint32_t dpp_dtb_soft_perf_test_get() {
  return get(soft_perf);
}
uint32_t dpp_dtb_hardware_perf_test_set(uint32_t enable) {
  DTB_SWITCH_SET(hardware_perf, enable);
}
uint32_t dpp_dtb_hardware_perf_test_get() {
  return get(hardware_perf);
}
uint32_t dpp_dtb_debug_fun_set(uint32_t enable) {
  DTB_SWITCH_SET(debug, enable);
}
uint32_t dpp_dtb_debug_fun_get() {
  return get(debug);
}
