#include <algorithm>
#include <cstdio>
#include <string_view>

#include "describe.h"
#include "kxtool/commands.h"
#include "kxtools/cmd.h"

namespace {

constexpr uint32_t LEVELS = 2;

// Columns of a usage block.
constexpr size_t HEADING_INDENT = 4;
constexpr size_t OPTION_INDENT = 8;
constexpr size_t LIST_INDENT = 4;  // of a list inside an option

// Text that the formatter prints as it stands; long lists of alternatives may be split between two.
void text_print(std::string_view text) {
  if (text.starts_with('.') || text.starts_with('\'')) {
    fputs("\\&", stdout);
  }
  for (const char c : text) {
    if (c == '\\' || c == '-') {
      putchar('\\');
    }
    putchar(c == '\\' ? 'e' : c);
    if (c == '|') {
      fputs("\\:", stdout);
    }
  }
}

std::string_view line_take(std::string_view* text) {
  const size_t end = text->find('\n');
  const std::string_view line = text->substr(0, end);
  text->remove_prefix(end == std::string_view::npos ? text->size() : end + 1);
  return line;
}

size_t indent_of(std::string_view line) {
  return std::min(line.find_first_not_of(' '), line.size());
}

// A line that stays one, and hangs when it does not fit.
void hanging_print(std::string_view line) {
  printf(".HP 4\n");
  text_print(line);
  putchar('\n');
}

// "name    what it is", or the rest of what the line above began.
void option_print(std::string_view line, size_t indent) {
  const size_t gap = line.find("  ", indent);
  if (indent > OPTION_INDENT && (gap == std::string_view::npos || indent > OPTION_INDENT + LIST_INDENT)) {
    text_print(line.substr(indent));
    putchar('\n');
    return;
  }
  printf(indent > OPTION_INDENT ? ".RS\n.TP\n" : ".TP\n");
  text_print(line.substr(indent, gap == std::string_view::npos ? gap : gap - indent));
  putchar('\n');
  if (gap != std::string_view::npos) {
    text_print(line.substr(line.find_first_not_of(' ', gap)));
    putchar('\n');
  }
  if (indent > OPTION_INDENT) {
    printf(".RE\n");
  }
}

// The lines of a usage block from its synopsis on. The text is filled anew: a usage block is wider than a manual page.
void usage_print(std::string_view usage) {
  enum class part { lines, text, options };
  part current = part::lines;
  constexpr std::string_view SYNOPSIS = "    SYNOPSIS:\n";
  if (const size_t at = usage.find(SYNOPSIS); at != std::string_view::npos) {
    usage.remove_prefix(at + SYNOPSIS.size());
  }
  while (!usage.empty()) {
    const std::string_view line = line_take(&usage);
    const size_t indent = indent_of(line);
    if (indent == HEADING_INDENT) {
      const std::string_view heading = line.substr(indent);
      current = heading == "OPTIONS:" ? part::options : heading == "EXAMPLES:" ? part::lines : part::text;
      printf(".PP\n");
      if (heading != "DESCRIPTION:") {
        text_print(heading);
        putchar('\n');
      }
    } else if (current == part::options) {
      option_print(line, indent);
    } else if (current == part::lines) {
      hanging_print(line.substr(indent));
    } else {
      text_print(line.substr(indent));
      putchar('\n');
    }
  }
}

// A command whose entry carries no usage in its help.
void single_print(const char* name) {
  printf(".SS \"");
  text_print(name);
  printf("\"\n");
  usage_print(kxtool_command_usage(name));
}

// Rows with the same usage are names of one command and stand under one heading.
void maintenance_print(uint32_t level) {
  const kxtools_cmd_entry& module = kxtools_cmd_list_addr_get()[KXTOOLS_MODULE_KXTOOL];
  const char* last = nullptr;
  for (uint32_t i = 0; i < module.sub_cmd_num; i++) {
    const kxtools_cmd_entry& entry = module.sub_cmd_list[i];
    if (entry.permission != level || (entry.help != nullptr && entry.help == last)) {
      continue;
    }
    last = entry.help;
    if (last == nullptr) {
      single_print(entry.name);
      continue;
    }
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

// What stands behind the name of a group, such as "glb version".
void group_print(const kxtools_cmd_entry& group) {
  for (uint32_t i = 0; i < group.sub_cmd_num; i++) {
    const kxtools_cmd_entry& entry = group.sub_cmd_list[i];
    fputs(i == 0 ? ".br\nBehind " : ",\n", stdout);
    if (i == 0) {
      text_print(group.name);
      printf(":\n");
    }
    text_print(entry.name);
    fputs(entry.permission == 0 ? "" : " (super user)", stdout);
  }
  fputs(group.sub_cmd_num == 0 ? "" : ".\n", stdout);
}

// A line of the tool for each module and for each group of its commands.
struct module_example {
  kxtools_module module;
  bool super;  ///< of a group that only the super user sees commands of
  const char* words;
};
constexpr module_example EXAMPLES[] = {
    {KXTOOLS_MODULE_KXNP, false, "diag_dpp_np_health_check 0"},
    {KXTOOLS_MODULE_KXNP, false, "diag_dpp_trpg_port_pkt_cnt_prt 0 3"},
    {KXTOOLS_MODULE_KXPCIE, false, "link_status"},
    {KXTOOLS_MODULE_KXPCIE, false, "devmem 0x6208000000 4"},
    {KXTOOLS_MODULE_KXPCIE, false, "bar_read 0 0x1000 8"},
    {KXTOOLS_MODULE_KXPCIE, true, "devmem_write 0x6310000010 0x55 0xff --verify"},
    {KXTOOLS_MODULE_KXPCIE, true, "margin all"},
    {KXTOOLS_MODULE_KXVQM, false, "vf 3"},
    {KXTOOLS_MODULE_KXVQM, false, "vring 12"},
    {KXTOOLS_MODULE_KXVQM, false, "check_vqm"},
    {KXTOOLS_MODULE_KXVQM, false, "glb version"},
    {KXTOOLS_MODULE_KXVQM, true, "host device_feature 3"},
    {KXTOOLS_MODULE_KXVQM, true, "rdesc state"},
    {KXTOOLS_MODULE_KXVQM, true, "qman hard_st"},
    {KXTOOLS_MODULE_KXVQM, false, "qfc sys_clk"},
    {KXTOOLS_MODULE_KXVQM, false, "bman cnt"},
    {KXTOOLS_MODULE_KXVQM, true, "tx_aximr ramst"},
    {KXTOOLS_MODULE_KXVQM, true, "rx_aximw data_ram"},
    {KXTOOLS_MODULE_KXVQM, true, "wr_used_vring msix_st"},
    {KXTOOLS_MODULE_KXVQM, false, "trpg rx"},
    {KXTOOLS_MODULE_KXVQM, true, "hot pd"},
    {KXTOOLS_MODULE_KXVQM, false, "cnt vf 3"},
    {KXTOOLS_MODULE_KXVQM, true, "axim ier"},
    {KXTOOLS_MODULE_KXVQM, true, "MODE PL"},
    {KXTOOLS_MODULE_KXVQM, true, "barchan bind_bdf 3b:00.0"},
    {KXTOOLS_MODULE_KXBTTL, false, "dxge 1 dump 0 3"},
    {KXTOOLS_MODULE_KXBTTL, false, "bman 1 stat 0"},
    {KXTOOLS_MODULE_KXBTTL, false, "qman 1 stat 0 1f"},
    {KXTOOLS_MODULE_KXBTTL, false, "lro 1 cfg"},
    {KXTOOLS_MODULE_KXTRACE_APP, false, "trace cnt"},
    {KXTOOLS_MODULE_KXTRACE_APP, false, "vqm rate 1 3"},
    {KXTOOLS_MODULE_KXTRACE_APP, false, "dtp rate 1 0"},
    {KXTOOLS_MODULE_KXTRACE_APP, false, "np rate 1 0"},
};

void examples_print(const kxtools_cmd_entry& module, uint32_t id) {
  for (const bool super : {false, true}) {
    const char* before = super ? ".br\nIn the shell, after su:\n.nf\n" : ".sp\n.nf\n";
    const char* after = "";
    for (const module_example& example : EXAMPLES) {
      if (example.module == id && example.super == super) {
        printf("%s%s%s ", before, super ? "" : "kxtool bind eth0 ", module.name);
        text_print(example.words);
        putchar('\n');
        before = "";
        after = ".fi\n";
      }
    }
    printf("%s", after);
  }
}

void module_print(uint32_t id) {
  const kxtools_cmd_entry& module = kxtools_cmd_list_addr_get()[id];
  printf(".TP\n.B %s\n", module.name);
  for (uint32_t level = 0; level < LEVELS; level++) {
    module_level_print(module, level);
  }
  for (uint32_t i = 0; i < module.sub_cmd_num; i++) {
    group_print(module.sub_cmd_list[i]);
  }
  if (module.sub_cmd_num == 0) {
    printf("No commands in this build.\n");
  }
  examples_print(module, id);
}

}  // namespace

void describe_man() {
  printf(".SH MAINTENANCE COMMANDS\nFrom the command line, and in the shell after the word kxtool.\n");
  maintenance_print(0);
  printf(".SH SUPER\\-USER MAINTENANCE COMMANDS\nOnly in the shell, after su.\n");
  maintenance_print(1);
  printf(
      ".SH MODULE COMMANDS\nIn the shell, after the module's name. From the command line, as\n.PP\n"
      ".RS\n.BI \"kxtool bind\" \" device module command\"\n.RI [ words ...]\n.RE\n.PP\n"
      "The examples stand for all commands of their module or group: another command takes the place of the name, and "
      "its\n"
      "words are those that\n.B \\-h\nbehind it tells, with their ranges. Words of commands of kxnp stand in\n"
      ".BR dpp\\-commands (7).\n");
  for (uint32_t id = KXTOOLS_MODULE_KXNP; id <= KXTOOLS_MODULE_KXRDMA; id++) {
    module_print(id);
  }
}
