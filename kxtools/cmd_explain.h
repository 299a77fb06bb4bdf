// What was meant, and what can be done: lines on standard error behind the dispatcher's own refusals.
#pragma once

#include "kxtools/cmd.h"

/// Behind a failed walk: `ctx` as the walk left it, `match` its result.
void kxtools_walk_explain(const kxtools_cmd_context& ctx, int32_t match);

/// Behind a device word that could not be turned into a PCI address.
void kxtools_device_word_explain(const char* word);
