#include "cmd_item.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "common/card_memory.h"
#include "common/report.h"
#include "registers.h"

namespace {

constexpr int HELP_COLUMN = 65;

// The line being run, for the help after an error deep in a command function.
struct running_cmd {
  const kxtools_cmd_context* ctx = nullptr;
  const vqm_cmd_item* item = nullptr;
  uint32_t words_back = 0;
};
running_cmd running;

const vqm_cmd_item* find_item(std::span<const vqm_cmd_item> items, std::string_view name) {
  for (const vqm_cmd_item& item : items) {
    if (name == item.name) {
      return &item;
    }
  }
  return nullptr;
}

void print_help_line(const char* group, const kxtools_cmd_entry& entry) {
  char name[2 * sizeof vqm_cmd_item::name];
  snprintf(name, sizeof name, group == nullptr ? "%s%s" : "%s %s", group == nullptr ? "" : group, entry.name);
  kx_print("%-*s%s\n", HELP_COLUMN, name, entry.help == nullptr ? "" : entry.help);
}

}  // namespace

void vqm_group_help_print(const kxtools_cmd_entry& entry) {
  print_help_line(nullptr, entry);
  for (uint32_t i = 0; i < entry.sub_cmd_num; ++i) {
    print_help_line(entry.name, entry.sub_cmd_list[i]);
  }
}

const vqm_cmd_item* vqm_cmd_item_find(const char* group, const char* name) {
  if (group == nullptr) {
    const vqm_cmd_item* item = find_item(vqm_short_module_cmds(), name);
    return item != nullptr ? item : find_item(vqm_two_stage_cmds(), name);
  }
  for (const vqm_module& module : vqm_module_list()) {
    if (std::string_view(group) == module.name) {
      return find_item({module.items, module.count}, name);
    }
  }
  return nullptr;
}

void vqm_cmd_run(kxtools_cmd_context* ctx, uint32_t words_back, vqm_cmd_function function) {
  // The walk only moved `argp` past the command words; they still stand before it.
  char** words = ctx->argp - words_back;
  const bool grouped = words_back == 2;
  running = {ctx, vqm_cmd_item_find(grouped ? words[0] : nullptr, words[grouped ? 1 : 0]), words_back};
  function(KX_CARD_VQM, words, ctx->argc + words_back);
  running = {};
}

int32_t kxvqm_module_help(kxtools_cmd_context* ctx) {
  if (ctx == nullptr || ctx->cmd == nullptr) {
    kx_print("ctx invalid!\n");
    return -1;
  }
  vqm_group_help_print(*ctx->cmd);
  if (ctx->cmd->sub_cmd_num == 0) {
    kx_error_print("kxtool: '%s' has no commands in this build\n", ctx->cmd->name);
  }
  return 0;
}

std::span<const kx_register_description> vqm_cmd_registers() {
  return running.item == nullptr ? std::span<const kx_register_description>()
                                 : VQM_REGISTERS.registers.subspan(running.item->reference, running.item->word);
}

const char* vqm_cmd_lists() {
  return running.item == nullptr ? "" : running.item->lists;
}

uint32_t vqm_cmd_words_back() {
  return running.words_back;
}

void vqm_cmd_help() {
  if (running.ctx == nullptr || running.ctx->cmd == nullptr) {
    kx_print("ctx invalid!\n");
    return;
  }
  const kxtools_cmd_entry* group = vqm_cmd_group_of(running.ctx->cmd);
  vqm_group_help_print(group == nullptr ? *running.ctx->cmd : *group);
}

bool vqm_cmd_count_check(uint32_t count, uint32_t min, uint32_t max) {
  if (count >= min && count <= max) {
    return true;
  }
  kx_print("kx_vqm Error: num of parameters is too %s.\n", count < min ? "less" : "much");
  vqm_cmd_help();
  return false;
}

bool vqm_cmd_number(const char* word, uint64_t* value) {
  char* rest = nullptr;
  errno = 0;
  *value = strtoul(word, &rest, 0);
  if (rest == word || *rest != '\0' || errno == ERANGE) {
    kx_print("kx_vqm Error: para[%s] illegal.\n", word);
    vqm_cmd_help();
    return false;
  }
  return true;
}

uint32_t kxvqm_check_para_illegal(int64_t min, int64_t max, int64_t value) {
  if (value >= min && value <= max) {
    return 0;
  }
  kx_print("kx_vqm Error: para[%ld] out of range [%ld, %ld].\n", value, min, max);
  vqm_cmd_help();
  return 1;
}
