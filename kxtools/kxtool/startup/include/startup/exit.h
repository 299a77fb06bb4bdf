// How a maintenance command ends, and the helper that reads its number words.
#pragma once

#include <cstdint>
#include <string>

/// Closes the driver channel, releases the run locks and ends the process with `status`; the streams are flushed once.
[[noreturn]] void kxtool_exit(int status);

/// Prints the bad-arguments lines to standard error, behind them a line that says which word is wrong and why, if there
/// is one, releases the run lock and exits with 1.
[[noreturn]] void exit_bad_args(const std::string& why = {});

/// Reads a whole number word in `base` (0: as C writes numbers); anything else, or a value outside `min` to `max`, is a
/// bad-arguments exit.
int64_t kxtool_number_get(const char* word, int base, int64_t min, int64_t max);

/// Gives the run locks of card and device back; harmless without them.
void kxtool_release_fd_lock();
