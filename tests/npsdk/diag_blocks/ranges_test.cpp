// Every command of these blocks with words at and beyond its ranges: a range is checked before anything is touched, and
// the line that reports it names the command.

#include <vector>

#include "card_device.h"

namespace {

constexpr uint32_t any = UINT32_MAX;
constexpr uint32_t no_manager = 0xD01;

struct range {
  uint32_t min;
  uint32_t max;
};
struct command_case {
  const char* name;
  std::vector<range> ranges;  // behind dev_id
  bool needs_queue = false;
};

const command_case cases[] = {
    {"diag_dpp_tm_detail", {}},
    {"diag_dpp_tm_detail_fc", {}},
    {"diag_dpp_tm_info", {}},
    {"diag_dpp_tm_crdt_sch", {{0, 511}}},
    {"diag_dpp_tm_shape", {{0, 511}, {0, 63}}},
    {"diag_dpp_tm_flow_ack", {{0, 511}}},
    {"diag_dpp_tm_cgavd_itmd", {{0, 511}}},
    {"diag_dpp_tm_qmu_qlen_full", {}},
    {"diag_dpp_tm_health_check", {}},
    {"diag_dpp_stat_tm_init_pre_etm", {{0, 3}}},
    {"diag_dpp_stat_tm_init", {{0, 0x7FFFF}, {1, 1}}},
    {"diag_dpp_stat_tm_cnt_prt", {{0, 63}}},
    {"diag_dpp_stat_car_queue_cfg_prt", {{0, 2}, {0, 0xFFFF}}},
    {"diag_dpp_stat_cara_pkt_queue_cfg_prt", {{0, 0xFFFF}}},
    {"diag_dpp_stat_car_profile_cfg_prt", {{0, 2}, {0, 0xFFFF}}},
    {"diag_dpp_stat_car_queue_map_prt", {{0, 2}, {0, 0xFFFF}}},
    {"diag_dpp_stat_car", {}},
    {"diag_dpp_stat", {}},
    {"diag_dpp_stat_ppu_cnt_prt", {{0, 1}, {0, 0x3FFFFFF}, {0, 1}}},
    {"diag_dpp_stat_ppu_cfg_prt", {}},
    {"diag_dpp_stat_ppu_cnt_set", {{0, 0x3FFFFFF}, {0, any}, {0, any}}},
    {"dpp_tlb_init", {}},
    {"diag_dpp_tlb_entry_cfg_pre", {{0, 63}, {0, 0xFFFF}, {0, any}, {0, 0xFFFF}, {0, any}}},
    {"diag_dpp_tlb_entry_cfg_set", {{0, 63}, {0, 1}, {0, 0xFFFF}, {0, 7}}},
    {"diag_dpp_tlb_global_cfg_set", {{0, 1}, {0, 1}, {0, 7}}},
    {"diag_dpp_tlb_entry_cfg_prt", {{0, 63}}},
    {"diag_dpp_tlb_global_cfg_prt", {}},
    {"diag_dpp_va_pa_swit_out_prt", {}},
    {"diag_dpp_tsn_port_prt", {{0, 3}}},
    {"diag_dpp_tsn_port_basic_prt", {{0, 3}}},
    {"diag_dpp_tsn_port_bandtime_prt", {{0, 3}}},
    {"diag_dpp_tsn_port_gcl_prt", {{0, 3}}},
    {"diag_dpp_tsn_port_status_prt", {{0, 3}}},
    {"diag_dpp_dtb_traf_ctrl_smmu1_ram_data_clr_all", {}},
    {"diag_dpp_dtb_traf_ctrl_zcam_ram_data_clr_all", {}},
    {"diag_dpp_dtb_traf_ctrl_etcam_ram_data_clr_all", {}},
    {"diag_dpp_dtb_traf_ctrl_etcam_dump_ram_data_clr_all", {}},
    {"diag_dpp_dtb_traf_ctrl_hash_ram_data_clr_all", {}},
    {"diag_dpp_dtb_traf_ctrl_smmu0_ram_data_clr_all", {}},
    {"diag_dpp_dtb_dump_pd_ram_data_clr_all", {}},
    {"diag_dpp_dtb_rd_ctrl_ram_data_clr_all", {}},
    {"diag_dpp_dtb_rd_table_ram_data_clr_all", {}},
    {"diag_dpp_dtb_cmd_man_ram_data_queue_clr", {{0, 127}}},
    {"diag_dpp_dtb_cmd_man_ram_data_clr_all", {}},
    {"dpp_dtb_debug_mode_enable", {}},
    {"dpp_dtb_debug_mode_disable", {}},
    {"diag_dpp_dtb_debug_mode_info_prt", {}},
    {"diag_dpp_dtb_ddr_dir_table_read", {{0, 127}, {0, 0xFFFFF}, {1, 3}, {2, 2}, {0, 0xFFFFFFF}, {0, 63}}, true},
    {"test_dpp_dtb_chip_ep_init", {}},
    {"diag_dpp_dtb_smmu0_read_128", {{0, 127}, {0, 0x7FFFF}}, true},
    {"diag_dpp_dtb_smmu0_write_64", {{0, 127}, {0, 0xFFFFF}, {0, any}, {0, any}}, true},
    {"diag_dpp_dtb_stat_smmu1_read", {{0, 127}, {0x40000, 0x3FFFFFF}}, true},
    {"diag_dpp_dtb_stat_smmu0_read", {{0, 127}, {0, 0x3FFFF}}, true},
    {"dpp_dtb_table_flush", {{0, 127}, {0, 3}, {0, 0xFFF}, {1, 1}}, true},
    {"diag_dpp_dtb_se_alg_read512", {{0, 127}, {0, 0x1FFFF}}, true},
    {"diag_dpp_dtb_smmu0_write_128", {{0, 127}, {0, 0x7FFFF}, {0, any}, {0, any}, {0, any}, {0, any}}, true},
    {"diag_dpp_dtb_smmu1_read_512", {{0, 127}, {0, 0xFFFFF}, {0, 0xFFFFFFF}}, true},
    {"diag_dpp_dtb_smmu1_read_256", {{0, 127}, {0, 0xFFFFF}, {0, 0x1FFFFFFF}}, true},
    {"diag_dpp_dtb_smmu1_read_128", {{0, 127}, {0, 0xFFFFF}, {0, 0x3FFFFFFF}}, true},
    {"diag_dpp_dtb_zcam_read", {{0, 127}, {0, 31}, {0, 3}, {0, 511}}, true},
    {"diag_dpp_dtb_etcam_entry_read", {{0, 127}, {0, 7}, {0, 511}}, true},
    {"diag_dpp_dtb_axis_axim_convert_mode_prt", {}},
    {"diag_dpp_dtb_prt", {}},
    {"diag_dpp_dtb_cmd_man_ram_data_queue_prt", {{0, 127}}},
    {"diag_dpp_dtb_traf_ctrl_smmu1_ram_data_prt_all", {}},
    {"diag_dpp_dtb_traf_ctrl_zcam_ram_data_prt_all", {}},
    {"diag_dpp_dtb_traf_ctrl_etcam_ram_data_prt_all", {}},
    {"diag_dpp_dtb_traf_ctrl_etcam_dump_ram_data_prt_all", {}},
    {"diag_dpp_dtb_traf_ctrl_hash_ram_data_prt_all", {}},
    {"diag_dpp_dtb_traf_ctrl_smmu0_ram_data_prt_all", {}},
    {"diag_dpp_dtb_dump_pd_ram_data_prt_all", {}},
    {"diag_dpp_dtb_rd_table_ram_data_prt_all", {}},
    {"diag_dpp_dtb_cmd_man_ram_data_prt_all", {}},
    {"diag_dpp_dtb_rd_ctrl_ram_data_prt_all", {}},
    {"diag_dpp_dtb_down_table_ram_prt_all", {}},
    {"diag_dpp_dtb_dump_table_ram_prt_all", {}},
    {"diag_dpp_dtb_ram_data_clr_all", {}},
    {"diag_dpp_dtb_health_check", {}},
    {"dpp_download_debug_load", {{0, 5}, {0, 0x7FFF}, {0, any}, {0, any}, {0, any}, {0, any}}},
    {"dpp_dbg_init", {{0, 5}}},
    {"dpp_softdbg_bp_set", {{0, 5}, {0, 7}, {0, 1}, {0, 0xFFFF}}},
    {"dpp_softdbg_bp_prt", {{0, 5}}},
    {"dpp_softdbg_start", {{0, 5}, {0, 7}, {0, 255}}},
    {"dpp_dbg_pkt_send", {{0, 127}, {14, 256}, {0, any}}},
    {"dpp_softdbg_int_check", {{0, 5}}},
    {"dpp_softdbg_stop", {{0, 5}}},
    {"dpp_softdbg_step_into", {{0, 5}}},
    {"dpp_softdbg_step_over", {{0, 5}}},
    {"dpp_softdbg_mem_prt", {{0, 5}, {0, 7}, {0, 0xFFFFF}, {1, 1}}},
    {"dpp_softdbg_reg_prt", {{0, 5}, {0, 7}, {0, 255}, {1, 1}}},
    {"dpp_dbg_dyna_bp_set", {{0, 5}, {0, 7}, {0, 255}, {0, 0xFFFF}}},
    {"dpp_dbg_dyna_bp_clr", {{0, 5}, {0, 7}}},
    {"dpp_dbg_dyna_bp_prt", {{0, 5}}},
};

std::vector<uint32_t> largest(const command_case& c) {
  std::vector<uint32_t> words = {0};
  for (const range& r : c.ranges) {
    words.push_back(r.max);
  }
  return words;
}

TEST_F(CommandsOnCard, LargestValuesAreTaken) {
  for (const command_case& c : cases) {
    const command_result result = run(c.name, largest(c));
    EXPECT_EQ(result.code, c.needs_queue ? no_manager : 0u) << c.name << result.text;
  }
}

TEST_F(CommandsOnCard, ValuesBeyondTheirRangeTouchNothing) {
  const auto refused = [](const command_case& c, size_t place, uint32_t value) {
    std::vector<uint32_t> words = largest(c);
    words[place] = value;
    accesses = 0;
    const command_result result = run(c.name, words);
    EXPECT_EQ(result.code, 0x1205u) << c.name << " word " << place << result.text;
    EXPECT_TRUE(holds(result.text, "INVALID]")) << c.name;
    EXPECT_TRUE(holds(result.text, std::string("! FUNCTION :") + c.name + " !\n"));
    // Where the counters end is read from the card.
    const bool reads_limit = std::string(c.name).find("_stat_smmu") != std::string::npos && place == 2;
    EXPECT_TRUE(accesses == 0 || reads_limit) << c.name << " word " << place;
  };
  for (const command_case& c : cases) {
    refused(c, 0, 16);
    for (size_t i = 0; i < c.ranges.size(); ++i) {
      if (c.ranges[i].max != any) {
        refused(c, i + 1, c.ranges[i].max + 1);
      }
      if (c.ranges[i].min != 0) {
        refused(c, i + 1, c.ranges[i].min - 1);
      }
    }
  }
}

// A card that has fallen off the bus must not hold a command up or make it run away.
TEST_F(CommandsOnCard, DeadCardEndsEveryCommand) {
  dead = true;
  for (const command_case& c : cases) {
    accesses = 0;
    run(c.name, largest(c));
    EXPECT_LT(accesses, 20000u) << c.name;
  }
  dead = false;
}

}  // namespace
