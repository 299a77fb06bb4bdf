// The maintenance commands as a module of the command tree.
#pragma once

#include <cstdint>

/// Fills the help of the 40 entries from their usage texts and registers the table as module 0. Returns 0 or -1.
int32_t kxtool_cmd_init();

/// Usage text of the row that `word` selects; null when there is none.
const char* kxtool_args_help(const char* word);

/// Usage text of a command of the module, of "bind" too, which has no row, and of those whose row shows none; null for
/// no command.
const char* kxtool_command_usage(const char* name);
/// What can be done in place of a command that this build cannot do; null for one that it can.
const char* kxtool_command_instead(const char* name);
