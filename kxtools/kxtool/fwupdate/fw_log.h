// The update log, /var/log/kxtool/kxtool_fw_upd.log: what happened in every update, appended by both threads. Without a
// log its lines go to standard error.
#pragma once

/// Opens the log and writes when and where this tool was compiled. A log that cannot be made costs one line.
void fw_log_open();

/// One line: time stamp, `kind`, function, source line and text; `format` holds its newline.
[[gnu::format(printf, 4, 5)]] void fw_log_line(const char* kind, const char* function, int line, const char* format,
                                               ...);

#define FW_INFO(...) fw_log_line("upd_info", __func__, __LINE__, __VA_ARGS__)
#define FW_ERR(...) fw_log_line("upd_err", __func__, __LINE__, __VA_ARGS__)
