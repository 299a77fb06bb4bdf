// "-h" and "-v".
#pragma once

#include "startup/cmd_ctx.h"

/// What the tool is for.
extern const char kxtool_general_usage[];

extern const char kxtool_help_usage[];
/// Prints name, version, build date and compiler.
int kxtool_show_version(kxtool_cmd_ctx* ctx);
extern const char kxtool_version_usage[];
