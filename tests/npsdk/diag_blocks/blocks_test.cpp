// Traffic manager, address translation and time-sensitive ports.

#include "card_device.h"
#include "dpp_reg/dpp_reg_types.h"

namespace {

TEST_F(CommandsOnCard, FullQueuesOfTheTrafficManagerAreListed) {
  EXPECT_EQ(text("diag_dpp_tm_qmu_qlen_full", {0}), "Total full queues: 0 of 512\n");
  insert(R"({"registers": {"0x102044": "0x80000001"}})");
  const std::string full = text("diag_dpp_tm_qmu_qlen_full", {0});
  EXPECT_THAT(full, HasSubstr("queue_id-032 full, queue_len: 0x00000000 queue_th: 0x00001000\n"));
  EXPECT_THAT(full, HasSubstr("queue_id-063 full"));
  EXPECT_THAT(full, HasSubstr("Total full queues: 2 of 512\n"));
}

TEST_F(CommandsOnCard, TrafficManagerQueuesShowWhatTheyHold) {
  set(dpp_regs::etm_crdt_weight::NUMBER, 0, 511, {3, 40});
  EXPECT_THAT(text("diag_dpp_tm_crdt_sch", {0, 511}), HasSubstr(": 0x00000028"));
  EXPECT_THAT(text("diag_dpp_tm_cgavd_itmd", {0, 7}),
              HasSubstr("queue_id-007 itmd_len: 0x00000000 queue_th: 0x00001000"));
  insert(R"({"registers": {"0x104010": 7, "0x1040f8": 5, "0x103000": 1}})");
  const std::string detail = text("diag_dpp_tm_detail", {0});
  EXPECT_THAT(detail, HasSubstr("port_id-046 olif_out: 0x00000005\n"));
  EXPECT_THAT(detail, HasSubstr("port_id-063 olif_out: 0x00000000\ntotal       olif_out: 0x00000007\n"));
  EXPECT_THAT(text("diag_dpp_tm_health_check", {0}),
              HasSubstr("TM: 3 items, 1 error, 0 not ready, 0 busy: NOT HEALTHY\n"));
}

TEST_F(CommandsOnCard, TranslationEntryIsSetInTwoSteps) {
  ASSERT_EQ(text("diag_dpp_tlb_entry_cfg_pre", {0, 5, 0x1234, 0x56789000, 0x21, 0x43658000}), "");
  EXPECT_EQ(value(&dpp_regs::tlb_entry_cfg::entry_valid, 0, 5), 0u);
  ASSERT_EQ(text("diag_dpp_tlb_entry_cfg_set", {0, 5, 1, 0x77, 3}), "");
  const char* line = "entry-005 vfid: 0x0077 va: 0x123456789000 pa: 0x002143658000 page_size: 3\n";
  EXPECT_THAT(text("diag_dpp_va_pa_swit_out_prt", {0}), HasSubstr(line));
  // New addresses take the entry out of use.
  ASSERT_EQ(text("diag_dpp_tlb_entry_cfg_pre", {0, 5, 1, 2, 3, 4}), "");
  EXPECT_THAT(text("diag_dpp_va_pa_swit_out_prt", {0}), HasSubstr("Valid entries: 0 of 64"));
  EXPECT_EQ(value(&dpp_regs::tlb_entry_cfg::entry_vfid, 0, 5), 0x77u);
}

TEST_F(CommandsOnCard, TranslationSaysWhetherItTranslates) {
  EXPECT_THAT(text("diag_dpp_va_pa_swit_out_prt", {0}), HasSubstr("addresses pass as they are\n"));
  text("diag_dpp_tlb_entry_cfg_set", {0, 63, 1, 0, 0});
  EXPECT_THAT(text("dpp_tlb_init", {0}), HasSubstr("tlb_init_done                           : OK\n"));
  const std::string after = text("diag_dpp_va_pa_swit_out_prt", {0});
  EXPECT_THAT(after, HasSubstr("addresses are translated\n"));
  EXPECT_THAT(after, HasSubstr("Valid entries: 0 of 64"));
  text("diag_dpp_tlb_global_cfg_set", {0, 1, 1, 2});
  EXPECT_THAT(text("diag_dpp_va_pa_swit_out_prt", {0}), HasSubstr("tlb_en: 1 bypass: 1, addresses pass as they are\n"));
}

TEST_F(CommandsOnCard, GateListEndsWhereItsMemoryEnds) {
  set(dpp_regs::tsn_port_gcl::NUMBER, 2, 1, {0x81, 250});
  set(dpp_regs::tsn_port_gcl_num::NUMBER, 0, 2, {2});
  EXPECT_EQ(text("diag_dpp_tsn_port_gcl_prt", {0, 2}),
            "port_id-002 gcl_num: 2\ngcl-000 gate_value: 0x00 gate_interval: 0\n"
            "gcl-001 gate_value: 0x81 gate_interval: 250\n");
  set(dpp_regs::tsn_port_gcl_num::NUMBER, 0, 2, {255});
  const std::string list = text("diag_dpp_tsn_port_prt", {0, 2});
  EXPECT_THAT(list, HasSubstr("gcl-063 "));
  EXPECT_THAT(list, Not(HasSubstr("gcl-064 ")));
  EXPECT_THAT(list, HasSubstr("base_time: 0 cycle_time: 1000000 guard_time: 1250\n"));
}

}  // namespace
