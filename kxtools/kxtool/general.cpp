#include "general.h"

#include <cstring>
#include <string_view>

#include "build_id/build_id.h"
#include "common/report.h"
#include "kxtools/session.h"
#include "options.h"
#include "sub_commands.h"

namespace {

// The line after "SYNOPSIS:", without its indentation; empty without one.
std::string_view first_synopsis(const char* usage) {
  if (usage == nullptr) {
    return {};
  }
  constexpr std::string_view HEADING = "SYNOPSIS:\n";
  std::string_view text = usage;
  const size_t heading = text.find(HEADING);
  if (heading == std::string_view::npos) {
    return {};
  }
  text.remove_prefix(heading + HEADING.size());
  text = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return text;
}

}  // namespace

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

int kxtool_show_help(kxtool_cmd_ctx* /*ctx*/) {
  kx_print("%s\n    COMMANDS:\n", kxtool_option_table[0].usage);
  int32_t last_row = -1;
  for (const kxtools_cmd_entry& entry : kxtool_sub_command_list) {
    const int32_t row = kxtool_option_index_get(KXTOOL_OPTIONS, entry.name);
    const bool is_alias = row >= 0 && row == last_row;
    if (entry.permission > kxtools_permission_get() || is_alias) {
      continue;
    }
    last_row = row;
    const char* names = row < 0 ? entry.name : kxtool_option_table[row].names;
    const std::string_view synopsis = first_synopsis(row < 0 ? kxtool_bind_usage : kxtool_option_table[row].usage);
    if (synopsis.empty()) {
      kx_print("        %s\n", names);
    } else {
      kx_print("        %-16s %.*s\n", names, static_cast<int>(synopsis.size()), synopsis.data());
    }
  }
  return 0;
}

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
