// The option table: what the child process of each sub-command runs.
#pragma once

#include <array>

#include "startup/init.h"

inline constexpr uint32_t KXTOOL_OPTION_NUM = 35;
extern const std::array<kxtool_option, KXTOOL_OPTION_NUM> kxtool_option_table;

inline constexpr kxtool_option_list KXTOOL_OPTIONS = {kxtool_option_table.data(), KXTOOL_OPTION_NUM};
