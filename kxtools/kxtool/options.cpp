#include "options.h"

#include "fwupdate/fwupdate.h"
#include "general.h"
#include "info/info.h"
#include "kxtool/commands.h"
#include "port/port.h"
#include "registers/registers.h"

namespace {

#include "usage.inc"

constexpr bool NO_DEVICE = true;
constexpr bool DEVICE = false;
constexpr bool BDF = true;  // works with a PCI address too
constexpr bool NIC = false;

}  // namespace

// names, no_device, by_bdf, handler, usage, words_check. A row without handler cannot be done by this build.
constexpr kxtool_option kxtool_option_table[KXTOOL_OPTION_NUM] = {
    {nullptr, NO_DEVICE, NIC, nullptr, USAGE_GENERAL},
    {"-h|--help", NO_DEVICE, NIC, kxtool_show_help, USAGE_HELP},
    {"-v|--version", NO_DEVICE, NIC, kxtool_show_version, USAGE_VERSION},
    {"bl1", DEVICE, BDF, nullptr, USAGE_BL1},
    {"-f|-fw|fwupdate", DEVICE, BDF, kxtool_fw_main, USAGE_FWUPDATE, kxtool_fw_words_check},
    {"repair", NO_DEVICE, NIC, nullptr, USAGE_REPAIR},
    {"fget|log", DEVICE, NIC, nullptr, USAGE_LOG},
    {"diag", DEVICE, NIC, kxtool_diag, USAGE_DIAG},
    {"stat", DEVICE, NIC, kxtool_stat, USAGE_STAT},
    {"regsdump", DEVICE, NIC, kxtool_regsdump, USAGE_REGSDUMP},
    {"regsmem|devmem", DEVICE, NIC, kxtool_devmem, USAGE_DEVMEM},
    {"hwread", DEVICE, NIC, nullptr, nullptr},
    {"eeupdate", DEVICE, NIC, nullptr, USAGE_EEUPDATE},
    {"mac_info", DEVICE, NIC, kxtool_mac_addr_get, USAGE_MAC_INFO},
    {"reset", DEVICE, NIC, nullptr, nullptr},
    {"fput", DEVICE, NIC, nullptr, USAGE_FPUT},
    {"einj", DEVICE, NIC, nullptr, nullptr},
    {"rm_ras_log", DEVICE, NIC, nullptr, nullptr},
    {"shell", DEVICE, NIC, nullptr, USAGE_SHELL},
    {"link", DEVICE, NIC, kxtool_link, USAGE_LINK},
    {"prt_rv_bb", NO_DEVICE, NIC, nullptr, nullptr},
    {"show_os_status", NO_DEVICE, NIC, nullptr, USAGE_SHOW_OS_STATUS},
    {"flash", DEVICE, NIC, nullptr, USAGE_FLASH},
    {"set_vf_status", DEVICE, NIC, kxtool_set_vf_status, USAGE_SET_VF_STATUS},
    {"sn_info", DEVICE, NIC, kxtool_sn_get, USAGE_SN_INFO},
    {"nvme", DEVICE, NIC, nullptr, USAGE_NVME},
    {"temp_info", DEVICE, NIC, kxtool_temp_get, USAGE_TEMP_INFO},
    {"rdmacfg", DEVICE, NIC, nullptr, USAGE_RDMACFG},
    {"bar_test", DEVICE, NIC, nullptr, USAGE_BAR_TEST},
    {"hw_test", DEVICE, NIC, nullptr, USAGE_HW_TEST},
    {"pkt_capture", DEVICE, NIC, nullptr, USAGE_PKT_CAPTURE},
    {"mcode", DEVICE, NIC, nullptr, USAGE_MCODE},
    {"dump_eth_info", NO_DEVICE, NIC, kxtool_dump_eth_info, USAGE_DUMP_ETH_INFO},
    {"set_vf_mac", DEVICE, NIC, nullptr, USAGE_SET_VF_MAC},
    {"sw_stat", DEVICE, NIC, nullptr, USAGE_SW_STAT},
};

const char* kxtool_args_help(const char* word) {
  const int32_t index = kxtool_option_index_get(KXTOOL_OPTIONS, word);
  return index < 0 ? nullptr : kxtool_option_table[index].usage;
}
