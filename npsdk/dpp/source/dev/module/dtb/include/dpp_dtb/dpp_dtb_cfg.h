// Settings of the queue engine. Process-wide; any thread may set them, they take effect with the next operation.
#pragma once

#include <cstdint>

/// Polls of the acknowledge word before a missing completion is reported: 2000 down, 5000000 dump.
uint32_t dpp_dtb_down_table_overtime_set(uint32_t polls);
uint32_t dpp_dtb_down_table_overtime_get();
uint32_t dpp_dtb_dump_table_overtime_set(uint32_t polls);
uint32_t dpp_dtb_dump_table_overtime_get();
/// Microseconds between two polls: 50.
uint32_t dpp_dtb_delay_overtime_set(uint32_t microseconds);
uint32_t dpp_dtb_delay_overtime_get();

// Switches, 0 or 1 (0x1205 otherwise), all 0 at the start.
/// Ask the chip before a post whether the queue is enabled and has an unused item.
uint32_t dpp_dtb_info_check_set(uint32_t enable);
uint32_t dpp_dtb_info_check_en_get();
/// Print every posted item and every table command.
uint32_t dpp_dtb_prt_set(uint32_t enable);
uint32_t dpp_dtb_prt_get();
uint32_t dpp_dtb_prt_enable();
uint32_t dpp_dtb_prt_disable();
/// Prepare items without ringing the doorbell; completions succeed at once.
uint32_t dpp_dtb_soft_perf_test_set(uint32_t enable);
uint32_t dpp_dtb_soft_perf_test_get();
/// Ring the doorbell and take the completion for granted.
uint32_t dpp_dtb_hardware_perf_test_set(uint32_t enable);
uint32_t dpp_dtb_hardware_perf_test_get();
/// Completion checks return at once and leave the item as the chip left it.
uint32_t dpp_dtb_debug_fun_set(uint32_t enable);
uint32_t dpp_dtb_debug_fun_get();
