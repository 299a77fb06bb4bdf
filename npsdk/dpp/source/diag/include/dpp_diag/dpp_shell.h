// The driver's debug shell: every command of the driver table by name, with line editing, completion and history.
#pragma once

#include <atomic>
#include <cstdint>

/// Raised by "quit"; the shell leaves when the command has returned.
inline std::atomic<bool> dpp_shell_leave = false;

/// Runs the shell on standard input until "quit" or the end of input. Words are integers or, for commands that take a
/// text, the rest of the line. Returns 0.
int32_t dpp_driver_shell();
