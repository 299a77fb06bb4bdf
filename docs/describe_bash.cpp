#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "describe.h"
#include "kxtools/cmd.h"

namespace {

constexpr std::string_view DEVICE = "<device> ";

bool is_visible(const kxtools_cmd_entry& entry) {
  return entry.permission == 0;
}

// A command without a usage text takes a device, as nearly all do.
bool takes_device(const kxtools_cmd_entry& entry) {
  return entry.help == nullptr || strstr(entry.help, "<device>") != nullptr || strstr(entry.help, "<bdf>") != nullptr;
}

bool is_word_character(char c) {
  return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

void word_add(std::string* words, std::string_view word) {
  if (!word.empty() && (' ' + *words + ' ').find(' ' + std::string(word) + ' ') == std::string::npos) {
    *words += words->empty() ? "" : " ";
    *words += word;
  }
}

// Adds the alternatives that stand at `at`, such as "all" or "{all|vqm|np}".
void alternatives_add(std::string* words, std::string_view usage, size_t at) {
  size_t start = at;
  for (; at < usage.size() && usage[at] != ' ' && usage[at] != '\n'; at++) {
    if (is_word_character(usage[at])) {
      continue;
    }
    if (usage[at] != '|' && usage[at] != '{' && usage[at] != '}') {
      return;
    }
    word_add(words, usage.substr(start, at - start));
    start = at + 1;
  }
  word_add(words, usage.substr(start, at - start));
}

// What may follow the device word: the fixed words of the synopsis and every long option of the usage text.
std::string words_of(const kxtools_cmd_entry& entry) {
  std::string words;
  const std::string_view usage = entry.help == nullptr ? "" : entry.help;
  for (size_t at = usage.find(DEVICE); at != std::string_view::npos; at = usage.find(DEVICE, at + 1)) {
    alternatives_add(&words, usage, at + DEVICE.size());
  }
  for (size_t at = usage.find("--"); at != std::string_view::npos; at = usage.find("--", at + 2)) {
    size_t end = at;
    while (end < usage.size() && is_word_character(usage[end])) {
      end++;
    }
    if (const std::string_view option = usage.substr(at, end - at); option != "--" && option != "--help") {
      word_add(&words, option);
    }
  }
  return words;
}

std::string visible_names(const kxtools_cmd_entry& parent) {
  std::string names;
  for (uint32_t i = 0; i < parent.sub_cmd_num; i++) {
    if (is_visible(parent.sub_cmd_list[i])) {
      word_add(&names, parent.sub_cmd_list[i].name);
    }
  }
  return names;
}

}  // namespace

void describe_bash() {
  const kxtools_cmd_entry* top = kxtools_cmd_list_addr_get();
  const kxtools_cmd_entry& tool = top[KXTOOLS_MODULE_KXTOOL];
  printf("_kxtool_commands='%s'\n\n", visible_names(tool).c_str());

  printf("_kxtool_command_words() {\n  case $1 in\n");
  for (uint32_t i = 0; i < tool.sub_cmd_num; i++) {
    const kxtools_cmd_entry& entry = tool.sub_cmd_list[i];
    if (is_visible(entry) && takes_device(entry)) {
      printf("    %s) echo '%s' ;;\n", entry.name, words_of(entry).c_str());
    }
  }
  printf("    *) return 1 ;;  # takes no device\n  esac\n}\n\n");

  std::string modules;
  printf("_kxtool_module_commands() {\n  case $1 in\n");
  for (uint32_t id = KXTOOLS_MODULE_KXNP; id <= KXTOOLS_MODULE_KXRDMA; id++) {
    word_add(&modules, top[id].name);
    printf("    %s) echo '%s' ;;\n", top[id].name, visible_names(top[id]).c_str());
  }
  printf("  esac\n}\n\n_kxtool_modules='%s'\n", modules.c_str());
}
