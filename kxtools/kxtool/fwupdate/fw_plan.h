// What an update is going to do and what came of it.
#pragma once

#include "fw_state.h"

/// Two lines for the operator: the card and what runs on it, the package and where it goes. A package whose header
/// tells another sum than its bytes have costs a third one. REQUIRES: the card was asked what it runs.
void fw_plan_tell(fw_update* update);

/// After a finished update: what runs now, what the next reset of the card starts, and how to reset it.
void fw_result_tell(fw_update* update);

/// Asks the card what the update would ask before it writes, prints the whole plan and what would refuse it to standard
/// output, and writes nothing. `board_status` is what the comparison of the board types came to. Returns 0, or the exit
/// status of the update.
int fw_dry_run(fw_update* update, int board_status);
