// Start-up of a maintenance command in its child process.
#pragma once

#include <cstdint>

#include "startup/cmd_ctx.h"

/// The command table: row 0 is the general usage, the others are looked up by name.
struct kxtool_option_list {
  const kxtool_option* rows;
  uint32_t count;
};

/// Index of the first row from 1 on that has an alias equal to `word`, or -1.
int32_t kxtool_option_index_get(const kxtool_option_list& list, const char* word);

/// Prints the row's usage, or the general one and on standard error what the row has aside.
void kxtool_opts_show_usage(const kxtool_option_list& list, const kxtool_option& row);

/// The whole life of a maintenance command: finds its row, checks and locks the device, opens the channel, runs the
/// handler and ends the process with its status, or with 1 on any refusal. words[0] is "kxtool", words[1] the
/// sub-command.
[[noreturn]] void kxtool_init(const kxtool_option_list& list, uint32_t count, char** words);
