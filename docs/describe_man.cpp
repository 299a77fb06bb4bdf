#include <cstdio>
#include <string_view>

#include "describe.h"
#include "kxtools/cmd.h"

namespace {

constexpr uint32_t LEVELS = 2;

// Text that the formatter prints as it stands.
void text_print(std::string_view text) {
  if (text.starts_with('.') || text.starts_with('\'')) {
    fputs("\\&", stdout);
  }
  for (const char c : text) {
    if (c == '\\' || c == '-') {
      putchar('\\');
    }
    putchar(c == '\\' ? 'e' : c);
  }
}

// The lines of a usage block from its synopsis on, moved to the left margin.
void usage_print(std::string_view usage) {
  constexpr std::string_view SYNOPSIS = "    SYNOPSIS:\n";
  constexpr size_t INDENT = 4;
  if (const size_t at = usage.find(SYNOPSIS); at != std::string_view::npos) {
    usage.remove_prefix(at + SYNOPSIS.size());
  }
  printf(".nf\n");
  while (!usage.empty()) {
    const size_t end = usage.find('\n');
    std::string_view line = usage.substr(0, end);
    usage.remove_prefix(end == std::string_view::npos ? usage.size() : end + 1);
    line.remove_prefix(line.starts_with("    ") ? INDENT : 0);
    text_print(line);
    putchar('\n');
  }
  printf(".fi\n");
}

// Rows with the same usage are names of one command and stand under one heading.
void maintenance_print(uint32_t level) {
  const kxtools_cmd_entry& module = kxtools_cmd_list_addr_get()[KXTOOLS_MODULE_KXTOOL];
  const char* last = nullptr;
  for (uint32_t i = 0; i < module.sub_cmd_num; i++) {
    const kxtools_cmd_entry& entry = module.sub_cmd_list[i];
    if (entry.permission != level || entry.help == nullptr || entry.help == last) {
      continue;
    }
    last = entry.help;
    printf(".SS \"");
    const char* separator = "";
    for (uint32_t j = i; j < module.sub_cmd_num && module.sub_cmd_list[j].help == last; j++) {
      fputs(separator, stdout);
      text_print(module.sub_cmd_list[j].name);
      separator = ", ";
    }
    printf("\"\n");
    usage_print(entry.help);
  }
}

bool has_help(const kxtools_cmd_entry& entry) {
  return entry.help != nullptr && entry.help[0] != '\0' && entry.help[0] != '\n';
}

// The first line of an entry's help, after the entry's name unless it begins with it.
void help_line_print(const kxtools_cmd_entry& entry) {
  std::string_view help = entry.help;
  help = help.substr(0, help.find('\n'));
  printf(".br\n");
  if (!help.starts_with(entry.name)) {
    text_print(entry.name);
    fputs(": ", stdout);
  }
  text_print(help);
  printf("\n");
}

// Names without help in one sentence, then the entries with help, a line each.
void module_level_print(const kxtools_cmd_entry& module, uint32_t level) {
  const char* const start = level == 0 ? "" : ".br\nAt super\\-user level also ";
  const char* separator = start;
  for (uint32_t i = 0; i < module.sub_cmd_num; i++) {
    const kxtools_cmd_entry& entry = module.sub_cmd_list[i];
    if (entry.permission == level && !has_help(entry)) {
      fputs(separator, stdout);
      text_print(entry.name);
      separator = ",\n";
    }
  }
  if (separator != start) {
    printf(".\n");
  }
  for (uint32_t i = 0; i < module.sub_cmd_num; i++) {
    const kxtools_cmd_entry& entry = module.sub_cmd_list[i];
    if (entry.permission == level && has_help(entry)) {
      help_line_print(entry);
    }
  }
}

void module_print(const kxtools_cmd_entry& module) {
  printf(".TP\n.B %s\n", module.name);
  for (uint32_t level = 0; level < LEVELS; level++) {
    module_level_print(module, level);
  }
  if (module.sub_cmd_num == 0) {
    printf("No commands in this build.\n");
  }
}

}  // namespace

void describe_man() {
  printf(".SH MAINTENANCE COMMANDS\nFrom the command line, and in the shell after the word kxtool.\n");
  maintenance_print(0);
  printf(".SH SUPER\\-USER MAINTENANCE COMMANDS\nOnly in the shell, after su.\n");
  maintenance_print(1);
  printf(
      ".SH MODULE COMMANDS\nIn the shell, after the module's name. From the command line, as\n.PP\n"
      ".RS\n.BI \"kxtool bind\" \" device module command\"\n.RI [ words ...]\n.RE\n");
  for (uint32_t id = KXTOOLS_MODULE_KXNP; id <= KXTOOLS_MODULE_KXRDMA; id++) {
    module_print(kxtools_cmd_list_addr_get()[id]);
  }
}
