// The maintenance commands as a module of the command tree.
#pragma once

#include <cstdint>

/// Fills the help of the 40 entries from their usage texts and registers the table as module 0. Returns 0 or -1.
int32_t kxtool_cmd_init();

/// Usage text of the row that `word` selects; null when there is none.
const char* kxtool_args_help(const char* word);
