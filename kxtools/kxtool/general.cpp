#include "general.h"

#include "build_id/build_id.h"
#include "common/report.h"

const char kxtool_general_usage[] = R"(NAME:
    kxtool
    SYNOPSIS:
        kxtool <command> <device> [OPTIONS]
    DESCRIPTION:
        Corvane toolkit support firmware update, hardware diagnosis, statistics, register r/w/dump,
        log collection, etc.)";

const char kxtool_help_usage[] = R"(    COMMAND:
        -h|--help
    SYNOPSIS:
        kxtool -h|--help
        kxtool <command> -h|--help
    DESCRIPTION:
        Shows what the tool is for and the commands that the current permission level may run.
        After a command's name, shows that command's usage; no device is needed.
    EXAMPLES:
        kxtool fwupdate -h)";

const char kxtool_version_usage[] = R"(    COMMAND:
        -v|--version
    SYNOPSIS:
        kxtool -v|--version
    DESCRIPTION:
        Shows the version of the tool, when it was built and with which compiler.
    EXAMPLES:
        kxtool -v)";

int kxtool_show_version(kxtool_cmd_ctx* /*ctx*/) {
  kx_print("kxtool %s\nbuilt on %s %s with %s\n", KX_BUILD_VERSION, KX_BUILD_DATE, KX_BUILD_TIME, KX_BUILD_COMPILER);
  return 0;
}
