// Lines for the operator, on standard error in place of a progress line.
#pragma once

#include "fw_state.h"

/// "cause: ..." and, in a line of its own, that nothing was written. For what is refused before the card hears of it.
void fw_cause_tell(const std::string& text);

/// One line, in the log too. `text` has no newline.
void fw_tell(const std::string& text);

/// One line in the log and, where the update has one, in the system's log.
void fw_note(const fw_update& update, const std::string& text);

/// One line for the operator and in both logs.
void fw_announce(const fw_update& update, const std::string& text);

/// Who runs this and from where: user ids, the user of sudo, the terminal.
std::string fw_user_text();
