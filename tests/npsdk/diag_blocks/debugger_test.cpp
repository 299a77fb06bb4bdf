// Statistics and the micro-code debugger.

#include "card_device.h"
#include "dpp_reg/dpp_reg_types.h"

namespace {

constexpr uint32_t wrong_state = 0x612;

TEST_F(CommandsOnCard, CounterOfThePacketProcessorIsSetAndRead) {
  insert(R"({"statistics": {"0x11d02": "0x500000006"}})");
  EXPECT_EQ(text("diag_dpp_stat_ppu_cnt_prt", {0, 0, 0x11d02, 0}),
            "stat index[0x00011d02] value[0x00000005,0x00000006]\n");
  text("diag_dpp_stat_ppu_cnt_set", {0, 0x11d03, 7, 8});
  // Four words at half the index are both counters.
  EXPECT_EQ(text("diag_dpp_stat_ppu_cnt_prt", {0, 1, 0x11d02 / 2, 1}),
            "stat index[0x00008e81] value[0x00000005,0x00000006,0x00000007,0x00000008]\n");
  EXPECT_EQ(text("diag_dpp_stat_ppu_cnt_prt", {0, 0, 0x11d03, 0}),
            "stat index[0x00011d03] value[0x00000000,0x00000000]\n");
}

TEST_F(CommandsOnCard, StatisticsOfTheTrafficManagerCountOnceTheirAreaIsSet) {
  text("diag_dpp_stat_tm_init_pre_etm", {0, 2});
  EXPECT_EQ(value(&dpp_regs::stat_tm_init_pre_cfg::tm_stat_mode), 2u);
  EXPECT_EQ(value(&dpp_regs::stat_etm_en::drop_en), 0u);
  EXPECT_EQ(text("diag_dpp_stat_tm_init", {0, 0x61000, 0x800}),
            "stat tm init done, eram_baddr: 0x00061000 eram_depth: 0x00000800\n");
  EXPECT_EQ(value(&dpp_regs::stat_tm_eram_baddr::tm_eram_baddr), 0x61000u);
  EXPECT_EQ(value(&dpp_regs::stat_tm_init_cfg::tm_eram_depth), 0x800u);
  EXPECT_EQ(value(&dpp_regs::stat_etm_en::enq_en), 1u);
  // While the block works on the traffic manager's counters, its area stays where it is.
  insert(R"({"registers": {"0x203004": 4}})");
  const run_result busy = command("diag_dpp_stat_tm_init", {0, 0x100, 1});
  EXPECT_EQ(busy.code, 0x611u);
  EXPECT_THAT(busy.out, HasSubstr("[ErrorCode:0x611] !-- diag_dpp_stat_tm_init Call idle_wait Fail!\n"));
  EXPECT_EQ(value(&dpp_regs::stat_tm_eram_baddr::tm_eram_baddr), 0x60000u);
}

TEST_F(CommandsOnCard, PolicerEntriesAreOnesOfTheirTypeAndMemory) {
  set(dpp_regs::car_cpu_ind_data::NUMBER, 0, 7, {0xABCD});
  set(dpp_regs::car_cpu_ind_cmd::NUMBER, 0, 0, {0, 1, 2, 0x20});  // type b, profile
  const std::string profile = text("diag_dpp_stat_car_profile_cfg_prt", {0, 1, 0x20});
  EXPECT_THAT(profile, HasSubstr("carb profile-0x0020\n"));
  EXPECT_THAT(profile, HasSubstr("profile_word_7 : 0x0000abcd\n"));
  EXPECT_THAT(text("diag_dpp_stat_car_profile_cfg_prt", {0, 0, 0x20}), Not(HasSubstr("abcd")));
  EXPECT_THAT(text("diag_dpp_stat_car_queue_cfg_prt", {0, 1, 0x20}), Not(HasSubstr("abcd")));
  EXPECT_THAT(text("diag_dpp_stat_car_queue_map_prt", {0, 1, 0x20}), Not(HasSubstr("abcd")));
  EXPECT_THAT(text("diag_dpp_stat_cara_pkt_queue_cfg_prt", {0, 3}), HasSubstr("cara pkt_queue-0x0003\n"));
}

TEST_F(CommandsOnCard, DebuggerWalksFromABreakpointOn) {
  text("dpp_softdbg_bp_set", {0, 2, 4, 1, 0x120});
  EXPECT_THAT(text("dpp_softdbg_bp_prt", {0, 2}), HasSubstr("cluster-002 bp-4 valid: 1 pc: 0x0120\n"));
  EXPECT_EQ(command("dpp_softdbg_step_into", {0, 2}).code, wrong_state);
  EXPECT_EQ(text("dpp_softdbg_start", {0, 2, 3, 9}), "cluster-002 running\n");
  EXPECT_EQ(value(&dpp_regs::ppu_cls_dbg_me_sel::thread_sel, 0, 2), 9u);
  EXPECT_EQ(command("dpp_softdbg_step_over", {0, 2}).code, wrong_state);
  text("dpp_dbg_pkt_send", {0, 5, 64, 1, 2, 3});
  EXPECT_EQ(value(&dpp_regs::ppu_dbg_pkt_data::pkt_data, 0, 2), 3u);
  EXPECT_EQ(text("dpp_softdbg_int_check", {0, 2}),
            "cluster-002 bp_hit: 1 me_excp: 0 stopped: 1 running: 0 pc: 0x0120\n");
  EXPECT_THAT(text("dpp_softdbg_int_check", {0, 2}), HasSubstr("bp_hit: 0"));
  EXPECT_EQ(text("dpp_softdbg_step_into", {0, 2}), "cluster-002 stopped at pc: 0x0121\n");
  EXPECT_EQ(text("dpp_softdbg_step_over", {0, 2}), "cluster-002 stopped at pc: 0x0122\n");
  text("dpp_dbg_init", {0, 2});
  EXPECT_THAT(text("dpp_softdbg_bp_prt", {0, 2}), HasSubstr("bp-4 valid: 0"));
}

TEST_F(CommandsOnCard, DynamicBreakpointsComeAndGo) {
  text("dpp_dbg_dyna_bp_set", {0, 1, 7, 0x11, 0x40});
  EXPECT_THAT(text("dpp_dbg_dyna_bp_prt", {0, 1}), HasSubstr("cluster-001 dyna_bp-7 valid: 1 type: 0x11 pc: 0x0040\n"));
  text("dpp_softdbg_start", {0, 1, 0, 0});
  text("dpp_dbg_pkt_send", {0, 0, 60});
  EXPECT_EQ(text("dpp_softdbg_stop", {0, 1}), "cluster-001 stopped at pc: 0x0040\n");
  text("dpp_dbg_dyna_bp_clr", {0, 1, 7});
  EXPECT_THAT(text("dpp_dbg_dyna_bp_prt", {0, 1}), HasSubstr("dyna_bp-7 valid: 0 type: 0x00 pc: 0x0000\n"));
  text("dpp_softdbg_start", {0, 1, 0, 0});
  text("dpp_dbg_pkt_send", {0, 0, 60});
  EXPECT_THAT(text("dpp_softdbg_int_check", {0, 1}), HasSubstr("running: 1"));
}

TEST_F(CommandsOnCard, MicroCodeAndEngineMemoriesAreTheClusters) {
  EXPECT_EQ(text("dpp_download_debug_load", {0, 4, 0x100, 1, 2, 3, 4}), "cluster-004 instr-0x0100 loaded\n");
  EXPECT_EQ(text("diag_dpp_ppu_instr_prt", {0, 4, 0x100, 1}),
            "instr-0x00100: 0x00000001 0x00000002 0x00000003 0x00000004\n");
  EXPECT_THAT(text("diag_dpp_ppu_instr_prt", {0, 3, 0x100, 1}), HasSubstr(": 0x00000000"));
  set(dpp_regs::ppu_cls_ind_data::NUMBER, 4, 0, {0x77});
  set(dpp_regs::ppu_cls_ind_cmd::NUMBER, 0, 4, {0, 3, 6, 2});  // register 2 of engine 6
  EXPECT_EQ(text("dpp_softdbg_reg_prt", {0, 4, 6, 1, 2}),
            "reg-0x00001: 0x00000000 0x00000000 0x00000000 0x00000000\n"
            "reg-0x00002: 0x00000077 0x00000002 0x00000003 0x00000004\n");
  EXPECT_EQ(text("dpp_softdbg_mem_prt", {0, 4, 6, 2, 1}), "mem-0x00002: 0x00000000 0x00000000 0x00000000 0x00000000\n");
}

TEST_F(CommandsOnCard, DebuggerDoesNotTrustADeadCard) {
  dead = true;
  for (const char* name : {"dpp_softdbg_start", "dpp_softdbg_step_into", "dpp_softdbg_stop"}) {
    const run_result result = command(name, {0, 0});
    EXPECT_EQ(result.code, wrong_state) << name;
    EXPECT_THAT(result.out, HasSubstr("cluster 0 does not tell its state\n"));
  }
  EXPECT_EQ(command("dpp_download_debug_load", {0, 0, 0, 1, 2, 3, 4}).code != 0, true);
}

TEST_F(CommandsOnCard, MemoriesOfTheQueueEngineAreClearedOneByOneOrAllAtOnce) {
  const auto fill = [] {
    set(dpp_regs::dtb_traf_ctrl_hash_ram::NUMBER, 0, 63, {1, 2, 3, 4});
    set(dpp_regs::dtb_cmd_man_ram::NUMBER, 127, 3, {1, 2, 3, 4});
  };
  fill();
  const char* hash = "diag_dpp_dtb_traf_ctrl_hash_ram_data_prt_all";
  EXPECT_THAT(text(hash, {0}), HasSubstr("063: 0x00000001 0x00000002 0x00000003 0x00000004\n"));
  const char* queue = "queue_id-127 line-3: 0x00000001 0x00000002 0x00000003 0x00000004\n";
  EXPECT_THAT(text("diag_dpp_dtb_cmd_man_ram_data_prt_all", {0}), HasSubstr(queue));
  text("diag_dpp_dtb_cmd_man_ram_data_queue_clr", {0, 126});
  EXPECT_THAT(text("diag_dpp_dtb_cmd_man_ram_data_queue_prt", {0, 127}), HasSubstr(queue));
  text("diag_dpp_dtb_cmd_man_ram_data_queue_clr", {0, 127});
  EXPECT_THAT(text("diag_dpp_dtb_cmd_man_ram_data_queue_prt", {0, 127}), Not(HasSubstr(queue)));
  fill();
  text("diag_dpp_dtb_ram_data_clr_all", {0});
  EXPECT_THAT(text(hash, {0}), Not(HasSubstr("0x00000001")));
  EXPECT_THAT(text("diag_dpp_dtb_cmd_man_ram_data_prt_all", {0}), Not(HasSubstr(queue)));
}

TEST_F(CommandsOnCard, QueueEngineModesShowInItsPrinters) {
  text("dpp_dtb_debug_mode_enable", {0});
  EXPECT_EQ(value(&dpp_regs::dtb_cfg_debug_mode::debug_mode_en), 1u);
  text("dpp_dtb_debug_mode_disable", {0});
  EXPECT_EQ(value(&dpp_regs::dtb_cfg_debug_mode::debug_mode_en), 0u);
  EXPECT_THAT(text("test_dpp_dtb_chip_ep_init", {0}), HasSubstr("ep-4 ep_valid: 1 ep_no: 4\n"));
  EXPECT_THAT(text("diag_dpp_dtb_prt", {0}),
              HasSubstr("queue_id-127 en: 0 vfunc_active: 0 vfid: 0x0000 int_en: 0 item_left: 32\n"));
  insert(R"({"registers": {"0x503000": 8, "0x502004": 1, "0x502000": 0}})");
  const std::string health = text("diag_dpp_dtb_health_check", {0});
  EXPECT_THAT(health, HasSubstr(": ERROR, axi_wr_err\n"));
  EXPECT_THAT(health, HasSubstr(": BUSY, axi_busy\n"));
  EXPECT_THAT(health, HasSubstr("DTB: 3 items, 1 error, 1 not ready, 1 busy: NOT HEALTHY\n"));
}

}  // namespace
