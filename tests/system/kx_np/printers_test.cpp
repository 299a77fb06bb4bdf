// What the commands print of a card whose values are known, and what setters leave on it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "np_session.h"

namespace {

using testing::HasSubstr;

TEST(Kxnp, PrintsTheCardsPortsVersionAndDrops) {
  const auto session = kxnp(
      R"({"network_processor": {"micro_code_version": "0x0102012c", "micro_code_build_time": "0x1a010203",
          "features": [1, "0x8000000000000002"], "statistics": {"0x11d02": "0x100000007", "0x11e32": 1},
          "ports": {"0": {"receive_packets": 5, "send_packets": 7},
                    "26": {"receive_packets": "0x100000000", "send_packets": 1}}}})",
      {"diag_dpp_trpg_port_pkt_total_cnt_prt 0", "diag_dpp_mcode_version 0", "diag_dpp_mcode_feature_prt 0 1",
       "mcode_drop_stat 0 0 1", "mcode_drop_stat 0 1 1", "mcode_drop_stat 0 0 1", "dpp_regs_print 0 5 5",
       "dpp_regs_print 0 6 5"});
  const std::string& ports = session.outputs[0];
  EXPECT_THAT(ports, HasSubstr("\nPORT_NO: 0, Rx pkt num: 5, Tx pkt num: 7\nPORT_NO: 1, "));
  EXPECT_THAT(ports, HasSubstr("\nPORT_NO: 26, Rx pkt num: 4294967296, Tx pkt num: 1\n"
                               "Total rx pkt num: 4294967301, Total Tx pkt num: 8\n"));
  EXPECT_EQ(std::count(ports.begin(), ports.end(), '\n'), 16);
  EXPECT_THAT(session.outputs[1], HasSubstr("     NP-MCODE Version       :  1.2.300\n"
                                            "     NP-MCODE CompileTime   :  2026-01-02-03:00:00\n"));
  EXPECT_EQ(session.outputs[2], "MCODE FEATRUE[1] : 0x8000000000000002\n");
  EXPECT_THAT(
      session.outputs[3],
      testing::MatchesRegex("v1 drop stat index\\[0x00011d02\\] value\\[0x00000001,0x00000007\\] reason: [^\n]+\n"
                            "v1 drop stat index\\[0x00011e32\\] value\\[0x00000000,0x00000001\\] reason: [^\n]+\n"));
  EXPECT_EQ(session.outputs[4], "");  // read away
  EXPECT_EQ(session.outputs[5], "");
  EXPECT_EQ(session.outputs[6], "reg_no:5, name:cpu_check_reg\ncpu_check_reg                           : 0xffffffff\n");
  EXPECT_EQ(session.outputs[7], "");
}

TEST(Kxnp, PrintersShowWhatSettersSet) {
  const session::Row rows[] = {
      {"dpp_trpg_port_packet_en_set 0 9 0 1", ""},
      {"diag_dpp_trpg_port_packet_en_prt 0 9", "rx_en                                   : 0x00000000"},
      {"dpp_trpg_port_inner_loopback_en_set 0 9 1", ""},
      {"diag_dpp_trpg_port_inner_loopback_en_prt 0 9", ": 0x00000001"},
      {"diag_dpp_pktrx_udf_table_set 0 10 0x05060007 0x1b020304", ""},
      {"diag_dpp_mcode_version 0", ":  5.6.7\n"},
      {"diag_dpp_pktrx_mcode_glb_cfg_set 0 17 18 19 20", ""},
      {"dpp_pktrx_mcode_glb_cfg_prt 0", "glb_cfg_data_3                          : 0x00000014"},
      {"diag_dpp_pktrx_cap_filter_sport_set 0 1 25", ""},
      {"mcode_cap_pktrx_print 0", "sport                                   : 0x00000019"},
      {"mcode_cap_pbu_filter_mac_offset_set 0 14", ""},
      {"mcode_cap_pbu_print 0", "mac_offset                              : 0x0000000e"},
      {"mcode_cap_dmac_start 0 0x1122 0x33445566", ""},
      {"mcode_cap_odma_print 0", "0x0000: 11 22 33 44 55 66 "},
      {"mcode_cap_start 0 3", ""},
      {"mcode_cap_odma_print 0", "cap_mode                                : 0x00000003"},
      {"diag_dpp_nppu_cap_clr_all 0", ""},
      {"mcode_cap_pktrx_print 0", "cap_full: 0, cap_num: 0, cap_len: 0\n"},
  };
  session::expect_shows("{}", "kxnp ", rows);
}

TEST(Kxnp, CountersBeginAgainAfterTheyWereCleared) {
  const std::string card = R"({"network_processor": {"registers": {"0x02c000": 9, "0x264008": 8}}})";
  const auto session =
      kxnp(card, {"clear_dpp_se 0", "diag_dpp_odma_cnt_prt 0", "clear_dpp 0", "diag_dpp_odma_cnt_prt 0"});
  EXPECT_THAT(session.outputs[1], HasSubstr("isu_in: 0x00000009\n"));
  EXPECT_THAT(session.outputs[3], HasSubstr("isu_in: 0x00000000\n"));
}

TEST(Kxnp, HelpListsTheCommandsOfTheLevel) {
  const auto listed = [](const std::string& input) {
    const std::string out = kx_system::run({.input = input}).out;
    size_t count = 0;
    for (size_t at = out.find("kxnp "); at != std::string::npos; at = out.find("\nkxnp ", at + 1)) {
      ++count;
    }
    return count;
  };
  // One line for the module itself.
  EXPECT_EQ(listed("0\nkxnp\nquit\n"), 226u + 1);
  EXPECT_EQ(listed("0\nsu opsu\nkxnp\nquit\n"), 294u + 1);
}

TEST(DppShell, RunsTheDriversCommandsOnTheCard) {
  const kx_system::Result result = kx_system::run(
      {.words = {"0000:3b:00.0"},
       .input = "diag_dpp_mcode_version 0\n\nnothing\ndiag_dpp_pktrx_port_en_prt 0 128\nhelp diag_dpp_pbu_port_th\n"
                "diag_dpp_reg_cpu_check_reg_prt\n1 2 3\ndpp_debug_wr 0 0 0 0 0 0 0 0 0 0 0 0 0\nquit\nversion\n",
       .program = KX_SYSTEM_DPP_SHELL});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("     NP-MCODE Version       :  1.2.3\n"));
  EXPECT_THAT(result.out, HasSubstr("nothing: command not found\n"));
  EXPECT_THAT(result.out, HasSubstr("diag_dpp_pktrx_port_en_prt: 0x1205\n"));
  EXPECT_THAT(result.out, HasSubstr("\ndiag_dpp_pbu_port_th_prt dev_id=0..15 port=0..127\n"));
  EXPECT_THAT(result.out, HasSubstr("cpu_check_reg                           : 0xffffffff\n"));
  EXPECT_THAT(result.out, HasSubstr("dpp_debug_wr: more than 12 arguments\n"));
  EXPECT_THAT(result.out, testing::Not(HasSubstr("NP-SDK")));  // behind quit
  EXPECT_EQ(kx_system::run({.words = {"eth9"}, .program = KX_SYSTEM_DPP_SHELL}).status, 1);
  EXPECT_EQ(kx_system::run({.words = {"a", "b"}, .program = KX_SYSTEM_DPP_SHELL}).status, 2);
}

}  // namespace
