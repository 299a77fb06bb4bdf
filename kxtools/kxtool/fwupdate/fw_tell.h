// Lines for the operator, on standard error in place of a progress line.
#pragma once

#include "fw_state.h"

/// "cause: ..." and, in a line of its own, that nothing was written. For what is refused before the card hears of it.
[[gnu::format(printf, 1, 2)]] void fw_cause_tell(const char* format, ...);

/// One line, in the log too. `format` has no newline.
[[gnu::format(printf, 1, 2)]] void fw_tell(const char* format, ...);

/// One line in the log and, where the update has one, in the system's log.
[[gnu::format(printf, 2, 3)]] void fw_note(const fw_update& update, const char* format, ...);

/// One line for the operator and in both logs.
[[gnu::format(printf, 2, 3)]] void fw_announce(const fw_update& update, const char* format, ...);

/// Who runs this and from where: user ids, the user of sudo, the terminal.
void fw_user_text(char* text, unsigned size);
