// The functions behind the module's command words: the address at which BAR 0 of the bound device is mapped, the words
// from the command word on, and their count, which is at least 1. Return 0, or -1 after a message.
#pragma once

#include <cstdint>

/// Prints the usage line, which ends every line with wrong words.
void trace_cmd_usage();

int32_t cmd_test_print(uint64_t bar, char** words, uint32_t count);
int32_t dpu_trace_info_help(uint64_t bar, char** words, uint32_t count);
int32_t trace_app_version_show(uint64_t bar, char** words, uint32_t count);

/// Status and packet counters of the traffic generators.
int32_t dpu_trace_info_st(uint64_t bar, char** words, uint32_t count);
int32_t dpu_trace_info_pkt(uint64_t bar, char** words, uint32_t count);

inline constexpr uint32_t TRACE_VF_NUM = 1192;
inline constexpr uint32_t TRACE_DTP_PORT_NUM = 4;
inline constexpr uint32_t TRACE_NP_PORT_NUM = 16;
/// Measure for a second: "rate" X [index], the index being a virtual function (VQM) or a port (DTP, NP), 0 without it.
int32_t dpu_vqm_info_rate(uint64_t bar, char** words, uint32_t count);
int32_t dpu_dtp_info_rate(uint64_t bar, char** words, uint32_t count);
int32_t dpu_np_info_rate(uint64_t bar, char** words, uint32_t count);
