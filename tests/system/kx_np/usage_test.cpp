// "-h" and "--help" behind a module, a group or a command tell what it takes, and nothing on the card changes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/session.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct usage {
  const char* words;
  const char* shows;
};

const usage usages[] = {
    {"kxnp dpp_trpg_port_packet_en_set",
     "dpp_trpg_port_packet_en_set dev_id=0..15 port=0..30 rx_en=0..1 tx_en=0..1\n"
     "    Switch the receive and the transmit side of a port on or off.\n"},
    {"kxnp dpp_tlb_init", "dpp_tlb_init dev_id=0..15"},
    {"kxnp diag_dpp_dtb_cmd_man_ram_data_clr_all", "diag_dpp_dtb_cmd_man_ram_data_clr_all dev_id=0..15"},
    {"kxnp mcode_drop_stat", "mcode_drop_stat dev_id=0..15 mode=0..1 version=1..2\n    Why the micro-code "},
    {"kxnp dpp_kshell", "dpp_kshell text\n    Hand a line "},
    {"kxnp dpp_reg_filter_level_set", "dpp_reg_filter_level_set: this driver has no such command\n"},
    {"kxnp", "kxnp"},
    {"kxvqm", "kxvqm"},
    {"kxvqm glb", "glb"},
    {"kxvqm others", "others"},
    {"kxvqm glb test_clr", "kxvqm glb test_clr\n    Clears test clear: clear test counters.\n"},
    {"kxvqm host device_feature_sel",
     "kxvqm host device_feature_sel <vf 0..1192> [<device feature select 0..0xffffffff>]\n"
     "    Shows or sets device feature select.\n"},
    {"kxvqm vqm_clear", "kxvqm vqm_clear \n    Clears every counter that can be cleared.\n"},
    {"kxvqm rx", "kxvqm rx \n    Shows the registers of trpg.rx.\n"},
    {"kxpcie devmem_write",
     "devmem_write <address> <value> [mask] [--verify]: writes a word of card memory, or reads it back too\n"},
    {"kxpcie flr", "flr <function>: "},
    {"kxbttl dxge", "kxbttl dxge 1 dump <path 0..1> <port 1..3>\n"},
    {"kxbttl lro", "kxbttl lro 1 cfg\n"},
    {"kxtrace_app trace", "kxtrace_app trace cmd\n"},
    {"kxtrace_app vqm", "kxtrace_app vqm rate 1 [vf 0..1191]\n"},
};

TEST(Usage, IsToldByEveryModuleAndTouchesNothing) {
  std::vector<std::string> lines = {"kxnp dpp_trpg_port_packet_en_set 0 0 1 1"};
  for (const usage& row : usages) {
    lines.push_back(row.words + std::string(" -h"));
    lines.push_back(row.words + std::string(" --help"));
  }
  lines.emplace_back("kxnp diag_dpp_trpg_port_packet_en_prt 0 0");
  const session::Session told = session::run("{}", lines, true);
  size_t at = 1;
  for (const usage& row : usages) {
    EXPECT_THAT(told.outputs[at], StartsWith(row.shows)) << row.words;
    EXPECT_EQ(told.outputs[at + 1], told.outputs[at]) << row.words;
    at += 2;
  }
  EXPECT_THAT(told.outputs[at], HasSubstr("rx_en                                   : 0x00000001\n"));
}

// On standard error, so that what scripts read stays as it is; a command that everybody may use says nothing.
TEST(Written, IsToldByWhatOnlyTheSuperUserMay) {
  const session::Session told =
      session::run("{}",
                   {"kxnp dpp_trpg_port_packet_en_set 0 3 1 0", "kxnp diag_dpp_nppu_cap_set 0 2",
                    "kxnp diag_dpp_se_smmu0_wr64 0 16 1 0xabc 7", "kxnp dpp_trpg_port_packet_en_set 0 31 1 1",
                    "kxnp diag_dpp_dtb_cmd_man_ram_data_queue_clr 0 1", "kxnp diag_dpp_dtb_cmd_man_ram_data_clr_all 0",
                    "kxnp dpp_softdbg_bp_prt 0 0", "kxnp mcode_cap_pktrx_filter_mac_offset_set 0 4"},
                   true);
  const std::string clear = " ram_data_0=0x0 ram_data_1=0x0 ram_data_2=0x0 ram_data_3=0x0";
  const std::string line = "dtb_cmd_man_ram[1][0]" + clear + ", dtb_cmd_man_ram[1][1]" + clear +
                           ", dtb_cmd_man_ram[1][2]" + clear + " and 1 more\n";
  EXPECT_EQ(told.result.err,
            "dpp_trpg_port_packet_en_set wrote trpg_port_packet_en[3] rx_en=0x1 tx_en=0x0\n"
            "diag_dpp_nppu_cap_set wrote pktrx_cap_mode cap_mode=0x2, pbu_cap_mode cap_mode=0x2, odma_cap_mode "
            "cap_mode=0x2\n"
            "diag_dpp_se_smmu0_wr64 wrote dev_id=0x0, addr=0x10, mode=0x1, data_h=0xabc, data_l=0x7\n"
            "diag_dpp_dtb_cmd_man_ram_data_queue_clr wrote " +
                line + "diag_dpp_dtb_cmd_man_ram_data_clr_all wrote dtb_cmd_man_ram[0][0]" + clear +
                ", dtb_cmd_man_ram[0][1]" + clear + ", dtb_cmd_man_ram[0][2]" + clear + " and 509 more\n");
  EXPECT_EQ(told.outputs[0], "");
}

TEST(Usage, IsNoWayAroundTheLevel) {
  const session::Session told = session::run("{}", {"kxnp dpp_trpg_port_packet_en_set -h", "kxvqm glb int_st --help"});
  for (const std::string& out : told.outputs) {
    EXPECT_THAT(out, HasSubstr(": No execution permission!\n"));
  }
}

// A card that cannot be bound does not hide what a command takes.
TEST(Usage, NeedsNoCardFromTheCommandLine) {
  const kx_system::Result told = session::one_shot(R"({"faults": {"dead": true}})", "kxnp diag_dpp_trpg_pps_ptr -h");
  EXPECT_EQ(told.status, 0);
  EXPECT_THAT(told.out, HasSubstr("diag_dpp_trpg_pps_ptr dev_id=0..15"));
}

TEST(Usage, IsToldByTheDebugShell) {
  const kx_system::Result told = kx_system::run({.words = {"0000:3b:00.0"},
                                                 .input = "dpp_trpg_port_packet_en_set 0 0 1 1\n"
                                                          "dpp_trpg_port_packet_en_set  -h \nquit -h\n"
                                                          "diag_dpp_trpg_port_packet_en_prt 0 0\n",
                                                 .program = KX_SYSTEM_DPP_SHELL});
  EXPECT_THAT(told.out, HasSubstr("\ndpp_trpg_port_packet_en_set dev_id=0..15 port=0..30 rx_en=0..1 tx_en=0..1"));
  EXPECT_THAT(told.out, HasSubstr("\nquit\n    Quit shell.\n"));
  EXPECT_THAT(told.out, HasSubstr("rx_en                                   : 0x00000001\n"));
}

}  // namespace
