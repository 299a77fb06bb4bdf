#include "sub_commands.h"

#include "kxtool/commands.h"
#include "options.h"

namespace {

constexpr uint8_t EVERYONE = 0;
constexpr uint8_t SUPER_USER = 1;

// Checked against the card's record of this module, or not at all.
constexpr kxtools_cmd_entry gated(const char* name, uint8_t permission) {
  return {name, nullptr, kxtool_cmd, permission, 0, 0, 0, 0, nullptr, kxtool_usage_print};
}
constexpr kxtools_cmd_entry ungated(const char* name, uint8_t permission, kxtools_cmd_handler handler = kxtool_cmd) {
  return {name, nullptr, handler, permission, 255, 255, 255, 0, nullptr, kxtool_usage_print};
}

}  // namespace

// Not constant: the help texts are filled in when the module starts.
constinit kxtools_cmd_entry kxtool_sub_command_list[KXTOOL_SUB_COMMAND_NUM] = {
    ungated("-h", EVERYONE),
    ungated("--help", EVERYONE),
    ungated("-v", EVERYONE),
    ungated("--version", EVERYONE),
    gated("bl1", SUPER_USER),
    gated("-f", EVERYONE),
    gated("-fw", EVERYONE),
    gated("fwupdate", EVERYONE),
    ungated("repair", EVERYONE),
    gated("fget", EVERYONE),
    gated("log", EVERYONE),
    gated("diag", EVERYONE),
    gated("stat", EVERYONE),
    gated("regsdump", SUPER_USER),
    gated("regsmem", SUPER_USER),
    gated("devmem", SUPER_USER),
    gated("hwread", EVERYONE),
    gated("eeupdate", SUPER_USER),
    gated("mac_info", EVERYONE),
    gated("reset", SUPER_USER),
    gated("fput", SUPER_USER),
    gated("einj", SUPER_USER),
    gated("rm_ras_log", SUPER_USER),
    gated("link", EVERYONE),
    gated("prt_rv_bb", SUPER_USER),
    gated("show_os_status", EVERYONE),
    gated("flash", SUPER_USER),
    gated("set_vf_status", EVERYONE),
    gated("sn_info", EVERYONE),
    gated("nvme", EVERYONE),
    gated("temp_info", EVERYONE),
    gated("rdmacfg", SUPER_USER),
    gated("bar_test", SUPER_USER),
    gated("hw_test", SUPER_USER),
    gated("pkt_capture", EVERYONE),
    gated("mcode", SUPER_USER),
    ungated("dump_eth_info", EVERYONE),
    gated("set_vf_mac", EVERYONE),
    gated("sw_stat", EVERYONE),
    ungated("bind", EVERYONE, kxtool_bind),
};

int32_t kxtool_cmd_init() {
  kxtools_is_driver_query_set(kxtool_is_driver_query);
  for (kxtools_cmd_entry& entry : kxtool_sub_command_list) {
    if (entry.help == nullptr) {
      entry.help = kxtool_args_help(entry.name);
    }
  }
  return kxtools_cmd_register(KXTOOLS_MODULE_KXTOOL, kxtool_sub_command_list, KXTOOL_SUB_COMMAND_NUM);
}
