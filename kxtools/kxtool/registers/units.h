// The units as the commands of this folder use them.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "kxtools/unit.h"
#include "startup/cmd_ctx.h"

inline constexpr int UNIT_INTERRUPTED = 130;  ///< exit status after Ctrl-C

/// The unit with that name, or null.
const kxtools_unit* unit_find(std::string_view name);

/// "0x" and all digits of a value.
std::string unit_words_text(std::span<const uint32_t> words);

/// Binds the command's function, so that card memory can be reached. Returns 0 or -1 with a message.
int32_t units_device_bind(const kxtool_cmd_ctx& ctx);
