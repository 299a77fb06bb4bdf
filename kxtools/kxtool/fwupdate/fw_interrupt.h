// Ending an update by Ctrl-C: the signal only raises a flag, the update ends where the flash can be described.
#pragma once

#include <string>

#include "fw_state.h"

void fw_interrupt_install();
bool fw_interrupt_is_raised();

/// What state the flash is left in, and what that means for the partition that runs: one line without its end.
std::string fw_interrupt_text(const fw_update& update);
/// Writes that line to the log and to standard error.
void fw_interrupt_report(const fw_update& update);
