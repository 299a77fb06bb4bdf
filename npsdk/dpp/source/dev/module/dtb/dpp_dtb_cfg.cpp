#include "dpp_dtb/dpp_dtb_cfg.h"

#include <atomic>

#include "dpp_dtb_internal.h"
#include "qlix_comm/check.h"

namespace {

constinit std::atomic<uint32_t> down_polls{2000};
constinit std::atomic<uint32_t> dump_polls{5000000};
constinit std::atomic<uint32_t> poll_delay_us{50};

uint32_t switch_set(uint32_t bit, uint32_t enable) {
  enable != 0 ? dtb_switches.fetch_or(bit) : dtb_switches.fetch_and(~bit);
  return QLIX_COMM_OK;
}

}  // namespace

constinit std::atomic<uint32_t> dtb_switches{0};

/// Defines the setter and the getter of a number.
#define DTB_NUMBER(number, set, get)                  \
  uint32_t set(uint32_t value) {                      \
    (number).store(value, std::memory_order_relaxed); \
    return QLIX_COMM_OK;                              \
  }                                                   \
  uint32_t get() {                                    \
    return (number).load(std::memory_order_relaxed);  \
  }

/// Of a switch, which is 0 or 1.
#define DTB_SWITCH(bit, set, get)           \
  uint32_t set(uint32_t enable) {           \
    QLIX_COMM_CHECK_INDEX_UPPER(enable, 1); \
    return switch_set(bit, enable);         \
  }                                         \
  uint32_t get() {                          \
    return dtb_switch_on(bit) ? 1 : 0;      \
  }

DTB_NUMBER(down_polls, dpp_dtb_down_table_overtime_set, dpp_dtb_down_table_overtime_get)
DTB_NUMBER(dump_polls, dpp_dtb_dump_table_overtime_set, dpp_dtb_dump_table_overtime_get)
DTB_NUMBER(poll_delay_us, dpp_dtb_delay_overtime_set, dpp_dtb_delay_overtime_get)
DTB_SWITCH(DTB_SWITCH_INFO_CHECK, dpp_dtb_info_check_set, dpp_dtb_info_check_en_get)
DTB_SWITCH(DTB_SWITCH_PRINT, dpp_dtb_prt_set, dpp_dtb_prt_get)
DTB_SWITCH(DTB_SWITCH_SOFT_PERF, dpp_dtb_soft_perf_test_set, dpp_dtb_soft_perf_test_get)
DTB_SWITCH(DTB_SWITCH_HARDWARE_PERF, dpp_dtb_hardware_perf_test_set, dpp_dtb_hardware_perf_test_get)
DTB_SWITCH(DTB_SWITCH_DEBUG, dpp_dtb_debug_fun_set, dpp_dtb_debug_fun_get)

uint32_t dpp_dtb_prt_enable() {
  return switch_set(DTB_SWITCH_PRINT, 1);
}

uint32_t dpp_dtb_prt_disable() {
  return switch_set(DTB_SWITCH_PRINT, 0);
}
