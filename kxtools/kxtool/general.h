// "-h" and "-v".
#pragma once

#include "startup/cmd_ctx.h"

/// Prints the general usage and, for every sub-command that the permission level reaches, its first synopsis line.
int kxtool_show_help(kxtool_cmd_ctx* ctx);
/// Prints name, version, build date and compiler.
int kxtool_show_version(kxtool_cmd_ctx* ctx);
