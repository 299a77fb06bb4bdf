// The update's main loop.
#pragma once

#include "fw_state.h"

inline constexpr int FW_EXIT_FAILED = 7;
inline constexpr int FW_EXIT_INTERRUPTED = 130;

/// Drives the machine from its present state to its end, one tick of 100 ms a pass. Returns the exit status.
int fw_run(fw_update* update);
