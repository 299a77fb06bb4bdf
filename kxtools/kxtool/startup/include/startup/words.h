// What is wrong with the words of a maintenance command, said on standard error behind its own refusal.
#pragma once

#include <span>

#include "startup/cmd_ctx.h"

/// Names the first word behind the device that is missing, wrong or too many; null in `expected` stands for a word of
/// the user's choice. Prints nothing when all words are as expected.
void kxtool_words_explain(const kxtool_cmd_ctx& ctx, std::span<const char* const> expected);
