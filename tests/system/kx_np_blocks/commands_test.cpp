// The commands of the traffic manager, statistics, address translation, queue engine, time-sensitive ports and
// micro-code debugger in the tool's shell.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <string_view>
#include <vector>

#include "session.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* no_manager = "ErrorCode[0xd01]: DTB Manager is not exist!!!\n";

const session::Row rows[] = {
    {"diag_dpp_tm_detail 0", "port_id-063 olif_out: 0x00000000\n"},
    {"diag_dpp_tm_detail_fc 0", "fc_cnt: 0x00000000\n"},
    {"diag_dpp_tm_info 0", "pp-063 pp_th: 0x00004000\n"},
    {"diag_dpp_tm_crdt_sch 0 511", "weight"},
    {"diag_dpp_tm_shape 0 511 63", "port_cbs"},
    {"diag_dpp_tm_flow_ack 0 511", "queue_id-511 flow_ack: 0x00000000\n"},
    {"diag_dpp_tm_cgavd_itmd 0 0x1ff", "queue_id-511 itmd_len: 0x00000000 queue_th: 0x00001000"},
    {"diag_dpp_tm_qmu_qlen_full 0", "queue_id-064 full, queue_len: 0x00000000 queue_th: 0x00001000\n"},
    {"diag_dpp_tm_health_check 0", "TM: 3 items, 0 errors, 0 not ready, 0 busy: HEALTHY\n"},
    {"diag_dpp_stat_tm_init_pre_etm 0 1", "stat tm pre init done, tm_stat_mode: 1\n"},
    {"diag_dpp_stat_tm_init 0 0x61000 0x100", "eram_baddr: 0x00061000 eram_depth: 0x00000100\n"},
    {"diag_dpp_stat_tm_cnt_prt 0 63", "index-063 drop_pkt: 0 drop_byte: 0\n"},
    {"diag_dpp_stat_car_queue_cfg_prt 0 1 5", "carb queue-0x0005\n"},
    {"diag_dpp_stat_cara_pkt_queue_cfg_prt 0 5", "cara pkt_queue-0x0005\n"},
    {"diag_dpp_stat_car_profile_cfg_prt 0 2 5", "carc profile-0x0005\n"},
    {"diag_dpp_stat_car_queue_map_prt 0 0 5", "queue_map_word_7 : 0x00000000\n"},
    {"diag_dpp_stat_car 0", "CAR: 3 items, 1 errors, 0 not ready, 0 busy: NOT HEALTHY\n"},
    {"diag_dpp_stat 0", "STAT: 3 items, 0 errors, 0 not ready, 0 busy: HEALTHY\n"},
    {"diag_dpp_stat_ppu_cnt_set 0 0x11d02 5 6", ""},
    {"diag_dpp_stat_ppu_cnt_prt 0 0 0x11d02 0", "stat index[0x00011d02] value[0x00000005,0x00000006]\n"},
    {"diag_dpp_stat_ppu_cfg_prt 0", "ppu_eram_baddr"},
    {"dpp_tlb_init 0", "tlb_init_done                           : OK\n"},
    {"diag_dpp_tlb_entry_cfg_pre 0 63 0x12 0x3000 0x45 0x6000", ""},
    {"diag_dpp_tlb_entry_cfg_set 0 63 1 7 2", ""},
    {"diag_dpp_va_pa_swit_out_prt 0", "entry-063 vfid: 0x0007 va: 0x001200003000 pa: 0x004500006000 page_size: 2\n"},
    {"diag_dpp_tlb_entry_cfg_prt 0 63", "0x00006000\n"},
    {"diag_dpp_tlb_global_cfg_set 0 1 1 2", ""},
    {"diag_dpp_tlb_global_cfg_prt 0", "miss_va: 0x0000000000000000\n"},
    {"diag_dpp_tsn_port_prt 0 3", "port_id-003 gcl_num: 0\n"},
    {"diag_dpp_tsn_port_basic_prt 0 3", "cycle_time: 1000000 guard_time: 1250\n"},
    {"diag_dpp_tsn_port_bandtime_prt 0 3", "port_id-003 queue-7 bandtime: 0x00000000\n"},
    {"diag_dpp_tsn_port_gcl_prt 0 3", "port_id-003 gcl_num: 0\n"},
    {"diag_dpp_tsn_port_status_prt 0 3", "port_id-003 pass: 0x00000000 overrun: 0x00000000\n"},
    {"diag_dpp_dtb_traf_ctrl_smmu1_ram_data_clr_all 0", ""},
    {"diag_dpp_dtb_traf_ctrl_zcam_ram_data_clr_all 0", ""},
    {"diag_dpp_dtb_traf_ctrl_etcam_ram_data_clr_all 0", ""},
    {"diag_dpp_dtb_traf_ctrl_etcam_dump_ram_data_clr_all 0", ""},
    {"diag_dpp_dtb_traf_ctrl_hash_ram_data_clr_all 0", ""},
    {"diag_dpp_dtb_traf_ctrl_smmu0_ram_data_clr_all 0", ""},
    {"diag_dpp_dtb_dump_pd_ram_data_clr_all 0", ""},
    {"diag_dpp_dtb_rd_ctrl_ram_data_clr_all 0", ""},
    {"diag_dpp_dtb_rd_table_ram_data_clr_all 0", ""},
    {"diag_dpp_dtb_cmd_man_ram_data_queue_clr 0 127", ""},
    {"diag_dpp_dtb_cmd_man_ram_data_clr_all 0", ""},
    {"dpp_dtb_debug_mode_enable 0", ""},
    {"diag_dpp_dtb_debug_mode_info_prt 0", ": 0x00000001\n"},
    {"dpp_dtb_debug_mode_disable 0", ""},
    {"dpp_dtb_prt_enable 0", ""},
    {"dpp_dtb_prt_disable 0", ""},
    {"diag_dpp_dtb_ddr_dir_table_read 0 0 0 1 1 0 0", no_manager},
    {"test_dpp_dtb_chip_ep_init 0", "ep-4 ep_valid: 1 ep_no: 4\n"},
    {"diag_dpp_dtb_smmu0_read_128 0 0 0", no_manager},
    {"diag_dpp_dtb_smmu0_write_64 0 0 0 1 2", no_manager},
    {"diag_dpp_dtb_stat_smmu1_read 0 0 0x50000", no_manager},
    {"diag_dpp_dtb_stat_smmu0_read 0 0 0x11d02", no_manager},
    {"dpp_dtb_table_flush 0 0 0 0 1", no_manager},
    {"diag_dpp_dtb_se_alg_read512 0 0 0", no_manager},
    {"diag_dpp_dtb_smmu0_write_128 0 0 0 1 2 3 4", no_manager},
    {"diag_dpp_dtb_smmu1_read_512 0 0 0 0", no_manager},
    {"diag_dpp_dtb_smmu1_read_256 0 0 0 0", no_manager},
    {"diag_dpp_dtb_smmu1_read_128 0 0 0 0", no_manager},
    {"diag_dpp_dtb_zcam_read 0 0 0 0 0", no_manager},
    {"diag_dpp_dtb_etcam_entry_read 0 0 0 0", no_manager},
    {"diag_dpp_dtb_axis_axim_convert_mode_prt 0", "axis_mode"},
    {"diag_dpp_dtb_prt 0", "queue_id-127 down_state: 0 dump_state: 0 last_status: 0xff"},
    {"diag_dpp_dtb_cmd_man_ram_data_queue_prt 0 127", "queue_id-127 line-3: 0x00000000"},
    {"diag_dpp_dtb_traf_ctrl_smmu1_ram_data_prt_all 0", "063: 0x00000000"},
    {"diag_dpp_dtb_traf_ctrl_zcam_ram_data_prt_all 0", "063: 0x00000000"},
    {"diag_dpp_dtb_traf_ctrl_etcam_ram_data_prt_all 0", "063: 0x00000000"},
    {"diag_dpp_dtb_traf_ctrl_etcam_dump_ram_data_prt_all 0", "063: 0x00000000"},
    {"diag_dpp_dtb_traf_ctrl_hash_ram_data_prt_all 0", "063: 0x00000000"},
    {"diag_dpp_dtb_traf_ctrl_smmu0_ram_data_prt_all 0", "063: 0x00000000"},
    {"diag_dpp_dtb_dump_pd_ram_data_prt_all 0", "127: 0x00000000"},
    {"diag_dpp_dtb_rd_table_ram_data_prt_all 0", "127: 0x00000000"},
    {"diag_dpp_dtb_cmd_man_ram_data_prt_all 0", "queue_id-127 line-3: 0x00000000"},
    {"diag_dpp_dtb_rd_ctrl_ram_data_prt_all 0", "127: 0x00000000"},
    {"diag_dpp_dtb_down_table_ram_prt_all 0", "255: 0x00000000"},
    {"diag_dpp_dtb_dump_table_ram_prt_all 0", "255: 0x00000000"},
    {"diag_dpp_dtb_ram_data_clr_all 0", ""},
    {"diag_dpp_dtb_health_check 0", "DTB: 3 items, 0 errors, 0 not ready, 0 busy: HEALTHY\n"},
    {"dpp_download_debug_load 0 5 0x100 1 2 3 4", "cluster-005 instr-0x0100 loaded\n"},
    {"dpp_dbg_init 0 5", ""},
    {"dpp_softdbg_bp_set 0 5 7 1 0x200", ""},
    {"dpp_softdbg_bp_prt 0 5", "cluster-005 bp-7 valid: 1 pc: 0x0200\n"},
    {"dpp_softdbg_start 0 5 7 1", "cluster-005 running\n"},
    {"dpp_dbg_pkt_send 0 0 64 1 2 3 4 5 6 7 8 9", ""},
    {"dpp_softdbg_int_check 0 5", "cluster-005 bp_hit: 1 me_excp: 0 stopped: 1 running: 0 pc: 0x0200\n"},
    {"dpp_softdbg_step_into 0 5", "cluster-005 stopped at pc: 0x0201\n"},
    {"dpp_softdbg_step_over 0 5", "cluster-005 stopped at pc: 0x0202\n"},
    {"dpp_softdbg_mem_prt 0 5 7 0x10 1", "mem-0x00010: 0x00000000"},
    {"dpp_softdbg_reg_prt 0 5 7 255 1", "reg-0x000ff: 0x00000000"},
    {"dpp_softdbg_stop 0 5", "cluster-005 stopped at pc: 0x0202\n"},
    {"dpp_dbg_dyna_bp_set 0 5 7 1 0x300", ""},
    {"dpp_dbg_dyna_bp_prt 0 5", "dyna_bp-7 valid: 1 type: 0x01 pc: 0x0300\n"},
    {"dpp_dbg_dyna_bp_clr 0 5 7", ""},
};

// A full queue of the traffic manager and an error of the policers.
constexpr const char* card = R"({"network_processor": {"registers": {"0x102048": 1, "0x243000": 2}}})";

TEST(NpBlocks, GoodWordsShowAndSet) {
  session::expect_shows(card, "kxnp ", rows);
}

// Scripts see a command that was found, whatever came of it.
TEST(NpBlocks, RefusalsLeaveTheStatus) {
  const kx_system::Result refused = session::one_shot(card, "kxnp diag_dpp_tsn_port_gcl_prt 0 4");
  EXPECT_EQ(refused.status, 0);
  EXPECT_THAT(refused.out, HasSubstr("! FUNCTION :diag_dpp_tsn_port_gcl_prt !\n"));
  const kx_system::Result failed = session::one_shot(card, "kxnp diag_dpp_dtb_smmu0_read_128 0 0 0");
  EXPECT_EQ(failed.status, 0);
  EXPECT_THAT(failed.out,
              HasSubstr("[ErrorCode:0xd01] !-- diag_dpp_dtb_smmu0_read_128 Call dpp_dtb_smmu0_row_dump Fail!\n"));
}

// Entries go to the card and come back by DMA; its registers see them too.
TEST(NpBlocks, QueueMovesTableEntries) {
  const std::vector<std::string> lines = {
      "kxnp host_dtb_huge_mem_init 0",          "kxnp diag_dpp_dtb_smmu0_write_128 0 0 5 1 2 3 4",
      "kxnp diag_dpp_dtb_smmu0_read_128 0 0 5", "kxnp diag_dpp_dtb_stat_smmu0_read 0 0 0x11d02",
      "kxnp dpp_dtb_table_flush 0 0 0 5 1",     "kxnp diag_dpp_dtb_smmu0_read_128 0 0 5",
      "kxnp diag_dpp_dtb_smmu0_read_128 0 1 5",
  };
  const session::Session session =
      session::run(R"({"network_processor": {"statistics": {"0x11d02": "0x500000006"}}})", lines, true);
  if (session.outputs[0].find("down init success!!!") == std::string::npos) {
    GTEST_SKIP() << session.outputs[0];
  }
  EXPECT_THAT(session.outputs[1], IsEmpty());
  EXPECT_EQ(session.outputs[2], "smmu0-0x00005: 0x00000001 0x00000002 0x00000003 0x00000004\n");
  EXPECT_EQ(session.outputs[3], "stat index[0x00011d02] value[0x00000005,0x00000006]\n");
  EXPECT_EQ(session.outputs[4], "smmu0: entries 0x5 to 0x5 are cleared\n");
  EXPECT_EQ(session.outputs[5], "smmu0-0x00005: 0x00000000 0x00000000 0x00000000 0x00000000\n");
  EXPECT_THAT(session.outputs[6], HasSubstr("dtb queue 1 is not init.\n"));
  EXPECT_THAT(session.result.log_of("table_block "),
              testing::Contains("table_block queue=0 bytes=16 dump=1 status=0xff"));
}

// A card that is late is waited for; one that refuses or keeps silent leaves its reason, and the queue goes on.
TEST(NpBlocks, QueueTroubleIsTold) {
  const struct {
    const char* queues;
    std::vector<const char*> wrote;
    const char* flushed;
  } troubles[] = {
      {R"({"delay_ms": 30})", {}, "smmu0: entries 0x5 to 0x5 are cleared\n"},
      {R"({"status": 19})", {"[ErrorCode:0x5a5a5a13]"}, "smmu0: stopped, 0x0 of 0x1 entries from 0x5 on are cleared\n"},
      {R"({"silent": true})",
       {"Error!!! dpp dtb down queue [0] item [0] ack success is overtime!\n", "dtb down table info", "dtb reg info",
        "[ErrorCode:0x1]"},
       "smmu0: stopped, 0x0 of 0x1 entries from 0x5 on are cleared\n"},
  };
  for (const auto& trouble : troubles) {
    const session::Session session =
        session::run(std::string(R"({"table_queues": )") + trouble.queues + "}",
                     {"kxnp host_dtb_huge_mem_init 0", "kxnp diag_dpp_dtb_smmu0_write_128 0 0 5 1 2 3 4",
                      "kxnp dpp_dtb_table_flush 0 0 0 5 1"},
                     true);
    if (session.outputs[0].find("down init success!!!") == std::string::npos) {
      GTEST_SKIP() << session.outputs[0];
    }
    if (trouble.wrote.empty()) {
      EXPECT_THAT(session.outputs[1], IsEmpty());
    }
    for (const char* part : trouble.wrote) {
      EXPECT_THAT(session.outputs[1], HasSubstr(part)) << trouble.queues;
    }
    EXPECT_THAT(session.outputs[2], HasSubstr(trouble.flushed)) << trouble.queues;
  }
}

// A flush that a signal ends says how far it got; then the signal has its effect on the tool.
TEST(NpBlocks, InterruptedFlushIsToldBeforeTheToolEnds) {
  const struct {
    int number;
    int status;
  } signals[] = {{SIGINT, 0}, {SIGTERM, 128 + SIGTERM}, {SIGHUP, 128 + SIGHUP}};
  for (const auto& signal : signals) {
    kx_system::Process shell({});
    shell.send("0\nsu opsu\nkxnp host_dtb_huge_mem_init 0\nkxnp dpp_dtb_table_flush 0 0 1 0 0x10000000\n");
    if (!shell.expect("down init success!!!")) {
      GTEST_SKIP() << shell.output();
    }
    ASSERT_TRUE(shell.expect_log("table_block "));
    const std::vector<pid_t> tools = shell.tools();
    ASSERT_EQ(tools.size(), 1u);
    kill(tools[0], signal.number);
    EXPECT_TRUE(shell.expect(" of 0x10000000 entries from 0x0 on are cleared\n")) << signal.number;
    EXPECT_THAT(shell.output(), HasSubstr("smmu1: interrupted, 0x"));
    shell.send("quit\n");
    EXPECT_EQ(shell.wait().status, signal.status) << shell.output();
  }
}

// The form of dump commands is the card's to state: without it no table is read through a queue.
TEST(NpBlocks, NoTableIsReadFromACardThatStatesNoDumpForm) {
  const char* reads[] = {
      "smmu0_read_128 0 0 0",        "smmu1_read_128 0 0 0 0",   "smmu1_read_256 0 0 0 0",
      "smmu1_read_512 0 0 0 0",      "zcam_read 0 0 0 0 0",      "se_alg_read512 0 0 0",
      "stat_smmu0_read 0 0 0",       "etcam_entry_read 0 0 0 0", "ddr_dir_table_read 0 0 0 1 1 0 0",
      "stat_smmu1_read 0 0 0x80000",
  };
  std::vector<std::string> lines = {"kxnp host_dtb_huge_mem_init 0"};
  for (const char* read : reads) {
    lines.push_back(std::string("kxnp diag_dpp_dtb_") + read);
  }
  const session::Session session = session::run(R"({"network_processor": {"dump_command_form": 0}})", lines, true);
  for (size_t i = 1; i < lines.size(); ++i) {
    EXPECT_THAT(session.outputs[i], testing::StartsWith("device 0 states no dump command form that this build knows"))
        << lines[i];
  }
  EXPECT_THAT(session.result.log_of("table_block "), IsEmpty());
}

}  // namespace
