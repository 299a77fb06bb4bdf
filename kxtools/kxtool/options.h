// The option table: what the child process of each sub-command runs.
#pragma once

#include <array>

#include "startup/init.h"

inline constexpr uint32_t KXTOOL_OPTION_NUM = 35;
extern const std::array<kxtool_option, KXTOOL_OPTION_NUM> kxtool_option_table;

inline constexpr kxtool_option_list KXTOOL_OPTIONS = {kxtool_option_table.data(), KXTOOL_OPTION_NUM};

/// True when the row of `word` asks the driver and changes nothing on the card, or does nothing at all in this build.
bool kxtool_is_driver_query(const char* word);

/// Usage of "bind", which has no row.
extern const char kxtool_bind_usage[];
