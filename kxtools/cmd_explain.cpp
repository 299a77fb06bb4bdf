#include "cmd_explain.h"

#include <string>

#include "cmd_line.h"
#include "common/nearest.h"
#include "common/report.h"
#include "device/interfaces.h"
#include "kxtools/session.h"

namespace {

struct command_table {
  const kxtools_cmd_entry* entries;
  uint32_t count;
};

command_table top_table() {
  return {kxtools_cmd_list_addr_get(), kxtools_cmd_list_count_get()};
}

command_table table_of(const kxtools_cmd_entry* entry) {
  return entry == nullptr ? top_table() : command_table{entry->sub_cmd_list, entry->sub_cmd_num};
}

// The index of an entry that the current level may see; the table's count when there is none of that name.
uint32_t visible_index(const command_table& table, const char* word) {
  uint32_t index = 0;
  return kxtools_cmd_index_get(word, table.entries, table.count, &index) == 0 &&
                 table.entries[index].permission <= kxtools_permission_get()
             ? index
             : table.count;
}

const char* nearest_visible(const command_table& table, const char* word) {
  kx_nearest nearest(word);
  for (uint32_t i = 0; i < table.count; i++) {
    if (table.entries[i].permission <= kxtools_permission_get()) {
      nearest.offer(table.entries[i].name);
    }
  }
  return nearest.name();
}

// A name that exists, but not where it was given. False when it is none.
bool misplaced_explain(const kxtools_cmd_entry* parent, const char* word) {
  const kxtools_cmd_entry* tool = &kxtools_cmd_list_addr_get()[KXTOOLS_MODULE_KXTOOL];
  const bool shell = kxtools_is_interactive_get() != 0;
  if (parent == nullptr && visible_index(table_of(tool), word) < tool->sub_cmd_num) {
    kx_error_print("kxtool: did you mean '%s %s'?\n", tool->name, word);
    return true;
  }
  const uint32_t top = parent == tool ? visible_index(top_table(), word) : kxtools_cmd_list_count_get();
  if (top == kxtools_cmd_list_count_get()) {
    return false;
  }
  if (shell) {
    kx_error_print("kxtool: did you mean '%s', without '%s' before it?\n", word, tool->name);
  } else if (top >= KXTOOLS_MODULE_KXNP && top <= KXTOOLS_MODULE_KXRDMA) {
    kx_error_print("kxtool: '%s' is a module: its commands are run by 'kxtool bind <device> %s <command>'\n", word,
                   word);
  } else {
    kx_error_print("kxtool: '%s' is a command of the shell, which 'kxtool' without words starts\n", word);
  }
  return true;
}

void unknown_word_explain(const kxtools_cmd_entry* parent, const char* word) {
  const kxtools_cmd_entry* tool = &kxtools_cmd_list_addr_get()[KXTOOLS_MODULE_KXTOOL];
  if (misplaced_explain(parent, word)) {
    return;
  }
  if (parent != nullptr && parent->sub_cmd_list == nullptr) {
    kx_error_print("kxtool: '%s' is no command of %s, which has none\n", word, parent->name);
  } else if (const char* name = nearest_visible(table_of(parent), word); name != nullptr) {
    kx_error_print("kxtool: '%s' is unknown: did you mean '%s'?\n", word, name);
  } else if (const char* command = parent == nullptr ? nearest_visible(table_of(tool), word) : nullptr;
             command != nullptr) {
    kx_error_print("kxtool: '%s' is unknown: did you mean '%s %s'?\n", word, tool->name, command);
  } else if (parent == nullptr) {
    kx_error_print("kxtool: '%s' is unknown: 'help' lists the commands of the shell\n", word);
  } else {
    kx_error_print("kxtool: '%s' is no command of %s: '-h' in its place lists them\n", word, parent->name);
  }
}

}  // namespace

void kxtools_walk_explain(const kxtools_cmd_context& ctx, int32_t match) {
  const char* word = ctx.argc == 0 ? "" : ctx.argp[0];
  if (match == KXTOOLS_MATCH_NO_COMMAND) {
    unknown_word_explain(ctx.cmd, word);
  } else if (match == KXTOOLS_MATCH_NO_PERMISSION) {
    kx_error_print("kxtool: '%s' is for the super user, which 'su opsu' in the shell makes you\n", word);
  }
}

void kxtools_device_word_explain(const char* word) {
  kx_nearest nearest(word);
  std::string names;
  std::vector<kxtools_card_interface> interfaces;
  kxtools_card_interfaces(&interfaces);
  for (const kxtools_card_interface& interface : interfaces) {
    nearest.offer(interface.name.c_str());
    names += (names.empty() ? "" : ", ") + interface.name;
  }
  const bool exists = kxtools_is_interface_name(word) && kxtools_interface_exists(word);
  const char* cause = exists ? "belongs to no PCI function" : "is no network interface or PCI address";
  if (nearest.name() != nullptr && !exists) {
    kx_error_print("kxtool: '%s' %s: did you mean '%s'?\n", word, cause, nearest.name());
  } else {
    kx_error_print("kxtool: '%s' %s: the cards' interfaces are %s\n", word, cause,
                   names.empty() ? "not there" : names.c_str());
  }
}
