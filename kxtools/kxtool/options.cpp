#include "options.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "common/report.h"
#include "fwupdate/fwupdate.h"
#include "general.h"
#include "info/info.h"
#include "kxtool/commands.h"
#include "kxtools/session.h"
#include "port/port.h"
#include "registers/registers.h"
#include "sub_commands.h"

namespace {

#include "absent.inc"

constexpr bool NO_DEVICE = true;
constexpr bool DEVICE = false;
constexpr bool BDF = true;  // works with a PCI address too
constexpr bool NIC = false;
constexpr bool ALONE = true;  // on the card
constexpr bool SHARED = false;
constexpr uint8_t EVERYONE = 0;
constexpr uint8_t SUPER_USER = 1;

// The line after "SYNOPSIS:", without its indentation; empty without one.
std::string_view first_synopsis(const char* usage) {
  constexpr std::string_view HEADING = "SYNOPSIS:\n";
  std::string_view text = usage == nullptr ? "" : usage;
  const size_t heading = text.find(HEADING);
  if (heading == std::string_view::npos) {
    return {};
  }
  text.remove_prefix(heading + HEADING.size());
  text = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return text;
}

// "-h": the general usage and, for every sub-command that the permission level reaches, its first synopsis line.
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

// What stands between a line and its command.
enum class gate : uint8_t {
  open,    // nothing
  record,  // the card's compatibility record of this module
  query,   // the same, where the kernel lets BAR 0 be read: the command asks the driver and changes nothing
  none,    // the command tree has no such entry
};

// All that is said of a maintenance command; what the tree and the child process know of it is made of these.
struct command_row {
  const char* names;
  gate behind;
  uint8_t permission;
  bool no_device;
  bool by_bdf;
  bool card_alone;
  kxtool_option_handler handler;  // null: not in this build
  const char* usage;
  const char* instead = nullptr;  // of a command that is not in this build
  kxtool_option_handler words_check = nullptr;
  const char* usage_aside = nullptr;  // of a command whose usage is not shown by the table
};

constexpr command_row ROWS[] = {
    {"-h|--help", gate::open, EVERYONE, NO_DEVICE, NIC, SHARED, kxtool_show_help, kxtool_help_usage},
    {"-v|--version", gate::open, EVERYONE, NO_DEVICE, NIC, SHARED, kxtool_show_version, kxtool_version_usage},
    {"bl1", gate::record, SUPER_USER, DEVICE, BDF, ALONE, nullptr, USAGE_BL1, INSTEAD_BL1},
    {"-f|-fw|fwupdate", gate::record, EVERYONE, DEVICE, BDF, ALONE, kxtool_fw_main, kxtool_fw_usage, nullptr,
     kxtool_fw_words_check},
    {"repair", gate::open, EVERYONE, NO_DEVICE, NIC, SHARED, nullptr, USAGE_REPAIR, INSTEAD_REPAIR},
    {"fget|log", gate::record, EVERYONE, DEVICE, NIC, SHARED, nullptr, USAGE_LOG, INSTEAD_LOG},
    {"diag", gate::record, EVERYONE, DEVICE, NIC, SHARED, kxtool_diag, kxtool_diag_usage},
    {"stat", gate::record, EVERYONE, DEVICE, NIC, SHARED, kxtool_stat, kxtool_stat_usage},
    {"regsdump", gate::record, SUPER_USER, DEVICE, NIC, SHARED, kxtool_regsdump, kxtool_regsdump_usage},
    {"regsmem|devmem", gate::record, SUPER_USER, DEVICE, NIC, SHARED, kxtool_devmem, kxtool_devmem_usage},
    {"hwread", gate::record, EVERYONE, DEVICE, NIC, SHARED, nullptr, nullptr, INSTEAD_HWREAD, nullptr, USAGE_HWREAD},
    {"eeupdate", gate::record, SUPER_USER, DEVICE, NIC, SHARED, nullptr, USAGE_EEUPDATE, INSTEAD_EEUPDATE},
    {"mac_info", gate::query, EVERYONE, DEVICE, NIC, SHARED, kxtool_mac_addr_get, kxtool_mac_info_usage},
    {"reset", gate::record, SUPER_USER, DEVICE, NIC, ALONE, nullptr, nullptr, INSTEAD_RESET, nullptr, USAGE_RESET},
    {"fput", gate::record, SUPER_USER, DEVICE, NIC, SHARED, nullptr, USAGE_FPUT, INSTEAD_FPUT},
    {"einj", gate::record, SUPER_USER, DEVICE, NIC, SHARED, nullptr, nullptr, INSTEAD_EINJ, nullptr, USAGE_EINJ},
    {"rm_ras_log", gate::record, SUPER_USER, DEVICE, NIC, SHARED, nullptr, nullptr, INSTEAD_RM_RAS_LOG, nullptr,
     USAGE_RM_RAS_LOG},
    {"shell", gate::none, EVERYONE, DEVICE, NIC, SHARED, nullptr, USAGE_SHELL, INSTEAD_SHELL},
    {"link", gate::query, EVERYONE, DEVICE, NIC, SHARED, kxtool_link, kxtool_link_usage},
    {"prt_rv_bb", gate::record, SUPER_USER, NO_DEVICE, NIC, SHARED, nullptr, nullptr, INSTEAD_PRT_RV_BB, nullptr,
     USAGE_PRT_RV_BB},
    {"show_os_status", gate::record, EVERYONE, NO_DEVICE, NIC, SHARED, nullptr, USAGE_SHOW_OS_STATUS,
     INSTEAD_SHOW_OS_STATUS},
    {"flash", gate::record, SUPER_USER, DEVICE, NIC, SHARED, nullptr, USAGE_FLASH, INSTEAD_FLASH},
    {"set_vf_status", gate::record, EVERYONE, DEVICE, NIC, SHARED, kxtool_set_vf_status, kxtool_set_vf_status_usage},
    {"sn_info", gate::query, EVERYONE, DEVICE, NIC, SHARED, kxtool_sn_get, kxtool_sn_info_usage},
    {"nvme", gate::record, EVERYONE, DEVICE, NIC, SHARED, nullptr, USAGE_NVME, INSTEAD_NVME},
    {"temp_info", gate::query, EVERYONE, DEVICE, NIC, SHARED, kxtool_temp_get, kxtool_temp_info_usage},
    {"rdmacfg", gate::record, SUPER_USER, DEVICE, NIC, SHARED, nullptr, USAGE_RDMACFG, INSTEAD_RDMACFG},
    {"bar_test", gate::record, SUPER_USER, DEVICE, NIC, SHARED, nullptr, USAGE_BAR_TEST, INSTEAD_BAR_TEST},
    {"hw_test", gate::record, SUPER_USER, DEVICE, NIC, SHARED, nullptr, USAGE_HW_TEST, INSTEAD_HW_TEST},
    {"pkt_capture", gate::record, EVERYONE, DEVICE, NIC, SHARED, nullptr, USAGE_PKT_CAPTURE, INSTEAD_PKT_CAPTURE},
    {"mcode", gate::record, SUPER_USER, DEVICE, NIC, SHARED, nullptr, USAGE_MCODE, INSTEAD_MCODE},
    {"dump_eth_info", gate::open, EVERYONE, NO_DEVICE, NIC, SHARED, kxtool_dump_eth_info, kxtool_dump_eth_info_usage},
    {"set_vf_mac", gate::record, EVERYONE, DEVICE, NIC, SHARED, nullptr, USAGE_SET_VF_MAC, INSTEAD_SET_VF_MAC},
    {"sw_stat", gate::record, EVERYONE, DEVICE, NIC, SHARED, nullptr, USAGE_SW_STAT, INSTEAD_SW_STAT},
};
constexpr size_t ROW_NUM = std::size(ROWS);
static_assert(ROW_NUM + 1 == KXTOOL_OPTION_NUM);

// Every alias as a text of its own, behind each other in the order of the rows.
constexpr size_t NAMES_SIZE = [] {
  size_t size = 0;
  for (const command_row& row : ROWS) {
    size += std::char_traits<char>::length(row.names) + 1;
  }
  return size;
}();
constexpr std::array<char, NAMES_SIZE> NAMES = [] {
  std::array<char, NAMES_SIZE> names = {};
  char* at = names.data();
  for (const command_row& row : ROWS) {
    for (const char* c = row.names; *c != '\0'; ++c) {
      *at++ = *c == '|' ? '\0' : *c;
    }
    ++at;
  }
  return names;
}();

}  // namespace

constinit const std::array<kxtool_option, KXTOOL_OPTION_NUM> kxtool_option_table = [] {
  std::array<kxtool_option, KXTOOL_OPTION_NUM> table = {};
  table[0] = {nullptr, NO_DEVICE, NIC, SHARED, nullptr, kxtool_general_usage};
  for (size_t i = 0; i < ROW_NUM; ++i) {
    const command_row& row = ROWS[i];
    table[i + 1] = {row.names, row.no_device, row.by_bdf,      row.card_alone, row.handler,
                    row.usage, row.instead,   row.words_check, row.usage_aside};
  }
  return table;
}();

constinit const std::array<kxtools_cmd_entry, KXTOOL_SUB_COMMAND_NUM> kxtool_sub_command_list = [] {
  std::array<kxtools_cmd_entry, KXTOOL_SUB_COMMAND_NUM> list = {};
  size_t count = 0;
  const char* name = NAMES.data();
  for (const command_row& row : ROWS) {
    const char* const end = name + std::char_traits<char>::length(row.names) + 1;
    for (; name < end; name += std::char_traits<char>::length(name) + 1) {
      const uint8_t version = row.behind == gate::open ? KXTOOLS_UNGATED : 0;
      if (row.behind != gate::none) {
        list[count++] = {name,    row.usage, kxtool_cmd, row.permission, version,
                         version, version,   0,          nullptr,        kxtool_usage_print};
      }
    }
  }
  list[count++] = {"bind",          nullptr,         kxtool_bind, EVERYONE, KXTOOLS_UNGATED,
                   KXTOOLS_UNGATED, KXTOOLS_UNGATED, 0,           nullptr,  kxtool_usage_print};
  return count == KXTOOL_SUB_COMMAND_NUM ? list : std::array<kxtools_cmd_entry, KXTOOL_SUB_COMMAND_NUM>{};
}();

int32_t kxtool_cmd_init() {
  // A row without a handler does nothing at all in this build.
  kxtools_is_driver_query_set([](const char* command, const char* device) {
    const int32_t index = kxtool_option_index_get(KXTOOL_OPTIONS, command);
    return index > 0 && (ROWS[index - 1].behind == gate::query || ROWS[index - 1].handler == nullptr) &&
           kxtool_bdf_or_nic_type(device) == KXTOOL_ACCESS_NIC;
  });
  return kxtools_cmd_register(KXTOOLS_MODULE_KXTOOL, kxtool_sub_command_list.data(), KXTOOL_SUB_COMMAND_NUM);
}

const char* kxtool_args_help(const char* word) {
  const int32_t index = kxtool_option_index_get(KXTOOL_OPTIONS, word);
  return index < 0 ? nullptr : kxtool_option_table[index].usage;
}

const char* kxtool_command_usage(const char* name) {
  const int32_t index = kxtool_option_index_get(KXTOOL_OPTIONS, name);
  if (index < 0) {
    return strcmp(name, "bind") == 0 ? kxtool_bind_usage : nullptr;
  }
  const kxtool_option& row = kxtool_option_table[index];
  return row.usage != nullptr ? row.usage : row.usage_aside;
}

const char* kxtool_command_instead(const char* name) {
  const int32_t index = kxtool_option_index_get(KXTOOL_OPTIONS, name);
  return index < 0 ? nullptr : kxtool_option_table[index].instead;
}

void kxtool_usage_print(const kxtools_cmd_entry& entry) {
  const int32_t index = kxtool_option_index_get(KXTOOL_OPTIONS, entry.name);
  if (index < 0) {
    kx_print("%s\n", kxtool_bind_usage);
  } else {
    kxtool_opts_show_usage(KXTOOL_OPTIONS, kxtool_option_table[index]);
  }
}
