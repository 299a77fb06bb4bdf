// What an update that ended early leaves behind.
#pragma once

#include <string>

#include "fw_state.h"

/// What state the flash is left in, and what that means for the partition that runs: one line without its end.
std::string fw_flash_text(const fw_update& update);

/// Writes `why` and that line to the log and to standard error. Nothing for a query, which leaves the flash alone. No
/// notice moves the machine meanwhile.
void fw_flash_report(fw_update& update, const char* why);
