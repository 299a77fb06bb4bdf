#include "options.h"

#include <algorithm>
#include <cstring>

#include "common/report.h"
#include "fwupdate/fwupdate.h"
#include "general.h"
#include "info/info.h"
#include "kxtool/commands.h"
#include "port/port.h"
#include "registers/registers.h"
#include "sub_commands.h"

namespace {

#include "usage.inc"

constexpr bool NO_DEVICE = true;
constexpr bool DEVICE = false;
constexpr bool BDF = true;  // works with a PCI address too
constexpr bool NIC = false;
constexpr bool ALONE = true;  // on the card
constexpr bool SHARED = false;

}  // namespace

// names, no_device, by_bdf, card_alone, handler, usage, what can be done in place of a row without handler,
// words_check.
constexpr kxtool_option kxtool_option_table[KXTOOL_OPTION_NUM] = {
    {nullptr, NO_DEVICE, NIC, SHARED, nullptr, USAGE_GENERAL},
    {"-h|--help", NO_DEVICE, NIC, SHARED, kxtool_show_help, USAGE_HELP},
    {"-v|--version", NO_DEVICE, NIC, SHARED, kxtool_show_version, USAGE_VERSION},
    {"bl1", DEVICE, BDF, ALONE, nullptr, USAGE_BL1, INSTEAD_BL1},
    {"-f|-fw|fwupdate", DEVICE, BDF, ALONE, kxtool_fw_main, USAGE_FWUPDATE, nullptr, kxtool_fw_words_check},
    {"repair", NO_DEVICE, NIC, SHARED, nullptr, USAGE_REPAIR, INSTEAD_REPAIR},
    {"fget|log", DEVICE, NIC, SHARED, nullptr, USAGE_LOG, INSTEAD_LOG},
    {"diag", DEVICE, NIC, SHARED, kxtool_diag, USAGE_DIAG},
    {"stat", DEVICE, NIC, SHARED, kxtool_stat, USAGE_STAT},
    {"regsdump", DEVICE, NIC, SHARED, kxtool_regsdump, USAGE_REGSDUMP},
    {"regsmem|devmem", DEVICE, NIC, SHARED, kxtool_devmem, USAGE_DEVMEM},
    {"hwread", DEVICE, NIC, SHARED, nullptr, nullptr, INSTEAD_HWREAD},
    {"eeupdate", DEVICE, NIC, SHARED, nullptr, USAGE_EEUPDATE, INSTEAD_EEUPDATE},
    {"mac_info", DEVICE, NIC, SHARED, kxtool_mac_addr_get, USAGE_MAC_INFO},
    {"reset", DEVICE, NIC, ALONE, nullptr, nullptr, INSTEAD_RESET},
    {"fput", DEVICE, NIC, SHARED, nullptr, USAGE_FPUT, INSTEAD_FPUT},
    {"einj", DEVICE, NIC, SHARED, nullptr, nullptr, INSTEAD_EINJ},
    {"rm_ras_log", DEVICE, NIC, SHARED, nullptr, nullptr, INSTEAD_RM_RAS_LOG},
    {"shell", DEVICE, NIC, SHARED, nullptr, USAGE_SHELL, INSTEAD_SHELL},
    {"link", DEVICE, NIC, SHARED, kxtool_link, USAGE_LINK},
    {"prt_rv_bb", NO_DEVICE, NIC, SHARED, nullptr, nullptr, INSTEAD_PRT_RV_BB},
    {"show_os_status", NO_DEVICE, NIC, SHARED, nullptr, USAGE_SHOW_OS_STATUS, INSTEAD_SHOW_OS_STATUS},
    {"flash", DEVICE, NIC, SHARED, nullptr, USAGE_FLASH, INSTEAD_FLASH},
    {"set_vf_status", DEVICE, NIC, SHARED, kxtool_set_vf_status, USAGE_SET_VF_STATUS},
    {"sn_info", DEVICE, NIC, SHARED, kxtool_sn_get, USAGE_SN_INFO},
    {"nvme", DEVICE, NIC, SHARED, nullptr, USAGE_NVME, INSTEAD_NVME},
    {"temp_info", DEVICE, NIC, SHARED, kxtool_temp_get, USAGE_TEMP_INFO},
    {"rdmacfg", DEVICE, NIC, SHARED, nullptr, USAGE_RDMACFG, INSTEAD_RDMACFG},
    {"bar_test", DEVICE, NIC, SHARED, nullptr, USAGE_BAR_TEST, INSTEAD_BAR_TEST},
    {"hw_test", DEVICE, NIC, SHARED, nullptr, USAGE_HW_TEST, INSTEAD_HW_TEST},
    {"pkt_capture", DEVICE, NIC, SHARED, nullptr, USAGE_PKT_CAPTURE, INSTEAD_PKT_CAPTURE},
    {"mcode", DEVICE, NIC, SHARED, nullptr, USAGE_MCODE, INSTEAD_MCODE},
    {"dump_eth_info", NO_DEVICE, NIC, SHARED, kxtool_dump_eth_info, USAGE_DUMP_ETH_INFO},
    {"set_vf_mac", DEVICE, NIC, SHARED, nullptr, USAGE_SET_VF_MAC, INSTEAD_SET_VF_MAC},
    {"sw_stat", DEVICE, NIC, SHARED, nullptr, USAGE_SW_STAT, INSTEAD_SW_STAT},
};

bool kxtool_is_driver_query(const char* word) {
  constexpr const char* QUERIES[] = {"mac_info", "link", "sn_info", "temp_info"};
  const int32_t index = kxtool_option_index_get(KXTOOL_OPTIONS, word);
  const auto is_word = [word](const char* query) { return strcmp(query, word) == 0; };
  return index >= 0 && (kxtool_option_table[index].handler == nullptr || std::ranges::any_of(QUERIES, is_word));
}

const char* kxtool_args_help(const char* word) {
  const int32_t index = kxtool_option_index_get(KXTOOL_OPTIONS, word);
  return index < 0 ? nullptr : kxtool_option_table[index].usage;
}

const char* kxtool_command_usage(const char* name) {
  return strcmp(name, "bind") == 0 ? kxtool_bind_usage : kxtool_args_help(name);
}

const char* kxtool_command_instead(const char* name) {
  const int32_t index = kxtool_option_index_get(KXTOOL_OPTIONS, name);
  return index < 0 ? nullptr : kxtool_option_table[index].instead;
}

void kxtool_usage_print(const kxtools_cmd_entry& entry) {
  const char* usage = kxtool_command_usage(entry.name);
  kx_print("%s\n", usage != nullptr ? usage : kxtool_option_table[0].usage);
  if (const char* instead = kxtool_command_instead(entry.name); usage == nullptr && instead != nullptr) {
    kx_error_print("kxtool: '%s' is not in this build. In its place: %s\n", entry.name, instead);
  }
}
