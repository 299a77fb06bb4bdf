// What setters leave on the card and printers show. Every single command is run by name in tests/npsdk, where all that
// takes several of them, or prints what the card file says, is looked at on the same virtual card.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "dpp_diag/dpp_cmd.h"
#include "system/session.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

TEST(Kxnp, PrintersShowWhatSettersSet) {
  const struct {
    const char* line;
    const char* part;  // of its output; empty: it prints nothing
  } cases[] = {
      {"dpp_trpg_port_packet_en_set 0 9 0 1", ""},
      {"diag_dpp_trpg_port_packet_en_prt 0 9", "rx_en                                   : 0x00000000"},
      {"dpp_trpg_port_inner_loopback_en_set 0 9 1", ""},
      {"diag_dpp_trpg_port_inner_loopback_en_prt 0 9", ": 0x00000001"},
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
      // Traffic manager, statistics, address translation, time-sensitive ports.
      {"diag_dpp_tm_info 0", "pp-063 pp_th: 0x00004000\n"},
      {"diag_dpp_tm_shape 0 511 63", "port_cbs"},
      {"diag_dpp_tm_flow_ack 0 511", "queue_id-511 flow_ack: 0x00000000\n"},
      {"diag_dpp_stat_tm_cnt_prt 0 63", "index-063 drop_pkt: 0 drop_byte: 0\n"},
      {"diag_dpp_stat_car 0", "CAR: 3 items, 1 error, 0 not ready, 0 busy: NOT HEALTHY\n"},
      {"diag_dpp_tlb_entry_cfg_pre 0 63 0x12 0x3000 0x45 0x6000", ""},
      {"diag_dpp_tlb_entry_cfg_prt 0 63", "0x00006000\n"},
      {"diag_dpp_tlb_global_cfg_prt 0", "miss_va: 0x0000000000000000\n"},
      {"diag_dpp_tsn_port_basic_prt 0 3", "cycle_time: 1000000 guard_time: 1250\n"},
      {"diag_dpp_tsn_port_bandtime_prt 0 3", "port_id-003 queue-7 bandtime: 0x00000000\n"},
      {"diag_dpp_tsn_port_status_prt 0 3", "port_id-003 pass: 0x00000000 overrun: 0x00000000\n"},
      // Queue engine.
      {"diag_dpp_dtb_axis_axim_convert_mode_prt 0", "axis_mode"},
      {"diag_dpp_dtb_cmd_man_ram_data_prt_all 0", "queue_id-127 line-3: 0x00000000"},
      {"diag_dpp_dtb_down_table_ram_prt_all 0", "255: 0x00000000"},
      // Search engine.
      {"diag_dpp_se_cfg_se_empty_prt 0", "hash_empty                              : 0x00000001\n"},
      {"diag_dpp_se_error_status 0", "etcam_int_status                        : ERROR, rsp_err\n"},
      {"diag_dpp_se_etcam_detail 0", "block 7 key: 0x00000000, hit: 0x00000000\n"},
      {"diag_dpp_se_smmu0_odma_baddr_prt 0", ": 0x00001000\n"},
      {"diag_dpp_se_smmu1_ser_cache_en_cfg_prt 0", ": 0x000000ff\n"},
      {"diag_dpp_se_fifo_depth_val_init_prt 0", "N:15\nprog_full_assert                        : 0x00000060\n"},
      {"diag_dpp_se_smmu0_rd128 0 0x10", "eram128[0x000010]: 0x00112233 0x44556677 0x8899aabb 0xccddeeff\n"},
      {"diag_dpp_se_lpm_cfg_ex_prt 0", "area 7: v4 ddr_en 0, "},
      {"dpp_se_tlb_help 0", "  diag_dpp_se_smmu0_wr128(dev_id, addr, data0, data1, data2, data3)\n"},
      {"host_dtb_huge_mem_init 0", "queue"},  // a queue, or one line why there is none
  };
  std::vector<session::Row> rows;
  for (const auto& [line, part] : cases) {
    rows.push_back({line, AllOf(HasSubstr(part), testing::Conditional(*part == '\0', "", testing::_))});
  }
  session::expect_shows(R"({"network_processor": {
      "eram": {"0x10": "00112233445566778899aabbccddeeff"},
      "registers": {"0x243000": 2, "0x27b000": 2}}})",
                        "kxnp ", rows, true);
}

TEST(Kxnp, CountersBeginAgainAfterTheyWereCleared) {
  session::expect_shows(R"({"network_processor": {"registers": {"0x02c000": 9, "0x264008": 8}}})", "kxnp ",
                        {{"clear_dpp_se 0", testing::_},
                         {"diag_dpp_odma_cnt_prt 0", HasSubstr("isu_in: 0x00000009\n")},
                         {"clear_dpp 0", testing::_},
                         {"diag_dpp_odma_cnt_prt 0", HasSubstr("isu_in: 0x00000000\n")}},
                        true);
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
  size_t everyone = 0;
  for (uint32_t i = 0; i < DPP_CMD_LISTED_NUM; ++i) {
    everyone += dpp_cmd_listed_get(i).permission == 0 ? 1 : 0;
  }
  // One line for the module itself.
  EXPECT_EQ(listed("0\nkxnp\nquit\n"), everyone + 1);
  EXPECT_EQ(listed("0\nsu opsu\nkxnp\nquit\n"), size_t{DPP_CMD_LISTED_NUM} + 1);
}

TEST(DppShell, RunsTheDriversCommandsOnTheCard) {
  const kx_system::Result result = kx_system::run(
      {.words = {"0000:3b:00.0"},
       .input = "diag_dpp_mcode_version 0\n\nnothing\ndiag_dpp_pktrx_port_en_prt 0 128\nhelp diag_dpp_pbu_port_th\n"
                "diag_dpp_reg_cpu_check_reg_prt\n1 2 3\ndpp_debug_wr 0 0 0 0 0 0 0 0 0 0 0 0 0\nquit\nversion\n",
       .program = KX_SYSTEM_DPP_SHELL});
  EXPECT_EQ(result.status, 0);
  for (const char* shown :
       {"     NP-MCODE Version       :  1.2.3\n", "nothing: command not found\n",
        "diag_dpp_pktrx_port_en_prt: 0x1205\n", "\ndiag_dpp_pbu_port_th_prt dev_id=0..15 port=0..127\n",
        "cpu_check_reg                           : 0xffffffff\n", "dpp_debug_wr: more than 12 arguments\n"}) {
    EXPECT_THAT(result.out, HasSubstr(shown));
  }
  EXPECT_THAT(result.out, testing::Not(HasSubstr("NP-SDK")));  // behind quit
  EXPECT_THAT(kx_system::run({.input = "0\nversion\n", .program = KX_SYSTEM_DPP_SHELL}).out, HasSubstr("NP-SDK"));
  EXPECT_EQ(kx_system::run({.words = {"eth9"}, .program = KX_SYSTEM_DPP_SHELL}).status, 1);
  EXPECT_EQ(kx_system::run({.words = {"a", "b"}, .program = KX_SYSTEM_DPP_SHELL}).status, 2);
}

}  // namespace
