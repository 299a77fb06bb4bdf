// The entries of the kxtool module in the command tree.
#pragma once

#include <array>

#include "kxtools/cmd.h"

inline constexpr uint32_t KXTOOL_SUB_COMMAND_NUM = 40;
extern const std::array<kxtools_cmd_entry, KXTOOL_SUB_COMMAND_NUM> kxtool_sub_command_list;

/// Runs the matched sub-command in a child process and returns its exit status.
int32_t kxtool_cmd(kxtools_cmd_context* ctx);
/// Runs one command of another module against a named device; it has no row.
int32_t kxtool_bind(kxtools_cmd_context* ctx);
extern const char kxtool_bind_usage[];
/// Prints the usage of an entry, and what can be done in its place when this build cannot do it.
void kxtool_usage_print(const kxtools_cmd_entry& entry);
