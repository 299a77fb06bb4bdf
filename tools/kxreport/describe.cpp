#include "describe.h"

#include <cstring>

#include "commands.h"
#include "kxtool/commands.h"
#include "kxtools/cmd.h"

namespace {

// "    COMMAND: ... DESCRIPTION:\n        What it does." or a plain line.
std::string purpose_of(const kxtools_cmd_entry& entry) {
  constexpr std::string_view HEADING = "DESCRIPTION:\n";
  const std::string_view help = entry.help == nullptr ? "" : entry.help;
  const size_t heading = help.find(HEADING);
  std::string_view text = heading == std::string_view::npos ? help : help.substr(heading + HEADING.size());
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return std::string(text.substr(0, text.find('\n')));
}

void command_describe(const std::string& words, uint8_t permission, const std::string& purpose, value_sink* out) {
  out->begin(term::described_command);
  out->text(term::words, words);
  out->gauge(term::permission, permission);
  out->text(term::purpose, purpose);
  out->end();
}

void entries_describe(const std::string& before, const kxtools_cmd_entry* entries, uint32_t count, value_sink* out) {
  for (uint32_t i = 0; i < count; ++i) {
    const kxtools_cmd_entry& entry = entries[i];
    const std::string words = before + (before.empty() ? "" : " ") + entry.name;
    if (entry.sub_cmd_num == 0) {
      const char* instead = before == "kxtool" ? kxtool_command_instead(entry.name) : nullptr;
      command_describe(
          words, entry.permission,
          instead == nullptr ? purpose_of(entry) : std::string("not in this build; in its place: ") + instead, out);
    } else {
      entries_describe(words, entry.sub_cmd_list, entry.sub_cmd_num, out);
    }
  }
}

}  // namespace

void commands_describe(value_sink* out) {
  out->begin(term::programs);
  out->begin(term::described);
  out->text(term::name, "kxreport");
  out->begin(term::commands);
  for (const report_command& row : report_commands()) {
    command_describe(std::string(row.name) + (*row.words == '\0' ? "" : " ") + row.words, 0, row.purpose, out);
  }
  out->end();
  out->end();
  out->begin(term::described);
  out->text(term::name, "kxtool");
  out->begin(term::commands);
  entries_describe("", kxtools_cmd_list_addr_get(), kxtools_cmd_list_count_get(), out);
  out->end();
  out->end();
  out->end();
}
