// The module's part of the command tree, assembled at start-up from the static lists.
#include <array>
#include <memory>
#include <new>

#include "channel/mailbox.h"
#include "cmd_item.h"
#include "common/report.h"
#include "kx_vqm/cmd.h"

namespace {

constexpr uint32_t COMMANDS = 50;
constexpr uint32_t GROUPS = 16;

struct command_table {
  std::array<kxtools_cmd_entry, COMMANDS> kxvqm_sub_command_list = {};
  std::array<std::unique_ptr<kxtools_cmd_entry[]>, GROUPS> group_items;
};

command_table& table() {
  static command_table commands;
  return commands;
}

// 255/255/255: no compatibility check.
kxtools_cmd_entry entry_of(const char* name, const char* help, kxtools_cmd_handler handler, uint8_t permission) {
  kxtools_cmd_entry entry = {.name = name,
                             .help = help,
                             .handler = handler,
                             .permission = permission,
                             .major = 0xFF,
                             .fw_minor = 0xFF,
                             .drv_minor = 0xFF};
  entry.usage = vqm_cmd_usage;
  return entry;
}

std::unique_ptr<kxtools_cmd_entry[]> make_items(const vqm_module& module) {
  std::unique_ptr<kxtools_cmd_entry[]> items(new (std::nothrow) kxtools_cmd_entry[module.count]);
  for (uint32_t i = 0; items != nullptr && i < module.count; ++i) {
    const vqm_cmd_item& item = module.items[i];
    items[i] = entry_of(item.name, item.help, item.handler, item.permission);
  }
  return items;
}

// Fills one entry a group from `next` on. False when memory is short; nothing is kept then.
bool append_groups(command_table* commands, uint32_t next) {
  const std::span<const vqm_module> modules = vqm_module_list();
  for (size_t i = 0; i < modules.size(); ++i) {
    commands->group_items[i] = make_items(modules[i]);
    if (commands->group_items[i] == nullptr) {
      kx_print("kxvqm_sub_command_list:%ld Memory allocation failed\n", static_cast<long>(i));
      commands->group_items = {};
      return false;
    }
    kxtools_cmd_entry& entry = commands->kxvqm_sub_command_list[next++];
    entry = entry_of(modules[i].name, nullptr, kxvqm_module_help, modules[i].permission);
    entry.usage = modules[i].count == 0 ? vqm_empty_group_usage : vqm_group_help_print;
    entry.sub_cmd_num = modules[i].count;
    entry.sub_cmd_list = commands->group_items[i].get();
  }
  return true;
}

}  // namespace

const kxtools_cmd_entry* vqm_cmd_group_of(const kxtools_cmd_entry* item) {
  for (const kxtools_cmd_entry& entry : table().kxvqm_sub_command_list) {
    for (uint32_t i = 0; i < entry.sub_cmd_num; ++i) {
      if (&entry.sub_cmd_list[i] == item) {
        return &entry;
      }
    }
  }
  return nullptr;
}

int32_t kxvqm_cmd_init() {
  if (tarn_msg_chan_init() != 0) {
    return -1;
  }
  command_table& commands = table();
  uint32_t next = 0;
  for (const vqm_cmd_item& item : vqm_short_module_cmds()) {
    commands.kxvqm_sub_command_list[next++] = entry_of(item.name, nullptr, item.handler, item.permission);
  }
  for (const vqm_cmd_item& item : vqm_two_stage_cmds()) {
    commands.kxvqm_sub_command_list[next++] = entry_of(item.name, item.help, item.handler, item.permission);
  }
  if (!append_groups(&commands, next)) {
    return -1;
  }
  return kxtools_cmd_register(KXTOOLS_MODULE_KXVQM, commands.kxvqm_sub_command_list.data(), COMMANDS);
}
