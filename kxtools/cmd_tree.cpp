// The command tree: the top-level table, the registration of the modules' tables, and look-ups in it.
#include <array>
#include <cstring>

#include "common/report.h"
#include "device/address.h"
#include "kxtools/cmd.h"
#include "kxtools/shell.h"

namespace {

constexpr kxtools_cmd_entry top_entry(const char* name, const char* help, kxtools_cmd_handler handler) {
  return {name, help, handler, 0, KXTOOLS_UNGATED, KXTOOLS_UNGATED, KXTOOLS_UNGATED, 0, nullptr};
}

// The index of an entry is its module id.
constinit std::array<kxtools_cmd_entry, 12> kxtools_command_list = {
    top_entry("kxtool", "kxtool help info", kxtools_module_help),
    top_entry("kxnp", "kxnp help info", kxtools_module_help),
    top_entry("kxpcie", "kxpcie help info", kxtools_module_help),
    top_entry("kxvqm", "kxvqm help info", kxtools_module_help),
    top_entry("kxtrace_app", "kxtrace_app help info", kxtools_module_help),
    top_entry("kxbttl", "kxbttl help info", kxtools_module_help),
    top_entry("kxrdma", "kxrdma help info", kxtools_module_help),
    top_entry("su", "enter super user", kxtools_permission_switch),
    top_entry("logout", "logout super user", kxtools_permission_logout),
    top_entry("quit", "quit kxtool", kxtools_quit),
    top_entry("sbdf", "bind a new device", kxtools_sbdf_switch),
    top_entry("help", "display this help info", kxtools_help),
};

// Entries of the kxtool module, other than those that stand alone, whose first word is not a device.
constexpr const char* NOT_KXTOOL_FORMAT[] = {"repair"};

constinit kxtools_module_dev_init_fn module_dev_init = nullptr;
constinit kxtools_is_driver_query_fn is_driver_query_fn = nullptr;

}  // namespace

int32_t kxtools_cmd_register(uint32_t module_id, const kxtools_cmd_entry* table, uint32_t count) {
  if (module_id >= KXTOOLS_MODULE_NUM) {
    return -1;
  }
  kxtools_command_list[module_id].sub_cmd_list = table;
  kxtools_command_list[module_id].sub_cmd_num = count;
  return 0;
}

const kxtools_cmd_entry* kxtools_cmd_list_addr_get() {
  return kxtools_command_list.data();
}

uint32_t kxtools_cmd_list_count_get() {
  return static_cast<uint32_t>(kxtools_command_list.size());
}

const kxtools_cmd_entry* kxtools_cmd_sub_list_addr_get(uint32_t module_id) {
  return module_id < KXTOOLS_MODULE_NUM ? kxtools_command_list[module_id].sub_cmd_list : nullptr;
}

int32_t kxtools_module_id_get(const kxtools_cmd_entry* entry, uint32_t* module_id) {
  for (uint32_t i = 0; i < kxtools_command_list.size(); i++) {
    const kxtools_cmd_entry& top = kxtools_command_list[i];
    *module_id = i;
    if (entry == &top) {
      return 0;
    }
    if (top.sub_cmd_num != 0 && top.sub_cmd_list == nullptr) {
      return KXTOOLS_ERR("kxtools_command_list[%u].sub_cmd_list is NULL!\n", i);
    }
    for (uint32_t j = 0; j < top.sub_cmd_num; j++) {
      const kxtools_cmd_entry& sub = top.sub_cmd_list[j];
      if (entry == &sub) {
        return 0;
      }
      if (sub.sub_cmd_num != 0 && sub.sub_cmd_list == nullptr) {
        return KXTOOLS_ERR("kxtools_command_list[%u].sub_cmd_list[%u].sub_cmd_list is NULL!\n", i, j);
      }
      for (uint32_t k = 0; k < sub.sub_cmd_num; k++) {
        if (entry == &sub.sub_cmd_list[k]) {
          return 0;
        }
      }
    }
  }
  return KXTOOLS_ERR("no module_id found!\n");
}

int32_t kxtools_cmd_index_get(const char* word, const kxtools_cmd_entry* table, uint32_t count, uint32_t* index) {
  if (word == nullptr || table == nullptr || index == nullptr) {
    return KXTOOLS_ERR("point is NULL!\n");
  }
  for (uint32_t i = 0; i < count; i++) {
    if (strcmp(table[i].name, word) == 0) {
      *index = i;
      return 0;
    }
  }
  return -1;
}

int32_t kxtools_is_not_kxtool_cmd_format(const kxtools_cmd_entry* entry, uint32_t* flag) {
  if (entry == nullptr || entry->name == nullptr) {
    return KXTOOLS_ERR("command_list or command_list->name is NULL\n");
  }
  *flag = 0;
  for (const char* name : NOT_KXTOOL_FORMAT) {
    if (strcmp(entry->name, name) == 0) {
      *flag = 1;
    }
  }
  return 0;
}

void kxtools_module_dev_init_set(kxtools_module_dev_init_fn init) {
  module_dev_init = init;
}

void kxtools_is_driver_query_set(kxtools_is_driver_query_fn is_driver_query) {
  is_driver_query_fn = is_driver_query;
}

bool kxtools_is_driver_query(const char* command, const char* device) {
  return is_driver_query_fn != nullptr && is_driver_query_fn(command, device);
}

int32_t kxtools_module_dev_init() {
  return module_dev_init == nullptr ? 0 : module_dev_init();
}
