#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "describe.h"
#include "device/function.h"
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

// The text of a line of OPTIONS behind the placeholder, up to a colon.
std::string_view option_text(std::string_view usage, std::string_view placeholder) {
  const size_t options = usage.find("\n    OPTIONS:\n");
  const size_t line =
      options == std::string_view::npos ? options : usage.find("\n        " + std::string(placeholder) + ' ', options);
  if (line == std::string_view::npos) {
    return {};
  }
  std::string_view text = usage.substr(line + 1, usage.find('\n', line + 1) - line - 1);
  text.remove_prefix(text.find('>') + 1);
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return text.substr(0, text.find(':'));
}

// The single words of an enumeration such as "a, b or c"; nothing when it is none.
std::string enumeration_words(std::string_view text) {
  std::string words;
  size_t count = 0;
  while (!text.empty()) {
    const size_t end = std::min({text.find(", "), text.find(" or "), text.size()});
    const std::string_view word = text.substr(0, end);
    if (word.find(' ') != std::string_view::npos) {
      return {};
    }
    word_add(&words, word);
    count++;
    text.remove_prefix(end);
    text.remove_prefix(text.starts_with(", ") ? 2 : text.starts_with(" or ") ? 4 : 0);
  }
  return count < 2 ? "" : words;
}

// One case for each option of the synopsis whose placeholder is explained by an enumeration.
void option_values_print(const kxtools_cmd_entry& entry) {
  const std::string_view usage = entry.help == nullptr ? "" : entry.help;
  for (size_t at = usage.find(" --"); at != std::string_view::npos; at = usage.find(" --", at + 1)) {
    const size_t end = usage.find(' ', at + 1);
    if (end == std::string_view::npos || end + 1 >= usage.size() || usage[end + 1] != '<') {
      continue;
    }
    const std::string_view option = usage.substr(at + 1, end - at - 1);
    const std::string_view placeholder = usage.substr(end + 1, usage.find('>', end) - end);
    if (const std::string words = enumeration_words(option_text(usage, placeholder)); !words.empty()) {
      printf("    '%s %.*s') echo '%s' ;;\n", entry.name, static_cast<int>(option.size()), option.data(),
             words.c_str());
    }
  }
}

// One case for each entry that has entries, by the words that lead to it.
void children_print(const std::string& chain, const kxtools_cmd_entry& parent) {
  printf("    '%s') echo '%s' ;;\n", chain.c_str(), visible_names(parent).c_str());
  for (uint32_t i = 0; i < parent.sub_cmd_num; i++) {
    const kxtools_cmd_entry& entry = parent.sub_cmd_list[i];
    if (is_visible(entry) && entry.sub_cmd_num != 0) {
      children_print(chain + ' ' + entry.name, entry);
    }
  }
}

void supported_print() {
  printf("_kxtool_is_supported() {\n  case $1:$2 in\n");
  kxtools_supported_functions_visit([](uint32_t vendor, uint32_t first, uint32_t last) {
    for (uint32_t device = first; device <= last; device++) {
      printf("%s0x%04x:0x%04x", device == first ? "    " : " | ", vendor, device);
    }
    printf(") return 0 ;;\n");
  });
  printf("  esac\n  return 1\n}\n\n_kxtool_is_switch() {\n  case $1:$2 in\n");
  kxtools_supported_functions_visit([](uint32_t vendor, uint32_t first, uint32_t last) {
    for (uint32_t device = first; device <= last; device++) {
      if (kxtools_dev_is_switch(vendor, device)) {
        printf("    0x%04x:0x%04x) return 0 ;;\n", vendor, device);
      }
    }
  });
  printf("  esac\n  return 1\n}\n\n");
}

}  // namespace

void describe_words() {
  const kxtools_cmd_entry* top = kxtools_cmd_list_addr_get();
  const kxtools_cmd_entry& tool = top[KXTOOLS_MODULE_KXTOOL];
  printf("_kxtool_commands='%s'\n\n", visible_names(tool).c_str());

  printf("# What may follow the device word of a command.\n_kxtool_command_words() {\n  case $1 in\n");
  for (uint32_t i = 0; i < tool.sub_cmd_num; i++) {
    const kxtools_cmd_entry& entry = tool.sub_cmd_list[i];
    if (is_visible(entry) && takes_device(entry)) {
      printf("    %s) echo '%s' ;;\n", entry.name, words_of(entry).c_str());
    }
  }
  printf("    *) return 1 ;;  # takes no device\n  esac\n}\n\n");

  printf("# The values of a command's option.\n_kxtool_option_values() {\n  case \"$1 $2\" in\n");
  for (uint32_t i = 0; i < tool.sub_cmd_num; i++) {
    if (is_visible(tool.sub_cmd_list[i])) {
      option_values_print(tool.sub_cmd_list[i]);
    }
  }
  printf("    *) return 1 ;;\n  esac\n}\n\n");

  std::string modules;
  for (uint32_t id = KXTOOLS_MODULE_KXNP; id <= KXTOOLS_MODULE_KXRDMA; id++) {
    word_add(&modules, top[id].name);
  }
  printf("# The entries below a module or a group.\n_kxtool_children() {\n  case $1 in\n    '') echo '%s' ;;\n",
         modules.c_str());
  for (uint32_t id = KXTOOLS_MODULE_KXNP; id <= KXTOOLS_MODULE_KXRDMA; id++) {
    children_print(top[id].name, top[id]);
  }
  printf("  esac\n}\n\n");
  supported_print();
}
