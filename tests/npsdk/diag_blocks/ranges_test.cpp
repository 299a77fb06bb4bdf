// Every command with words at and beyond their ranges: a range is checked before anything is touched, and the line that
// reports it names the command. And all commands on a card that has fallen off the bus.

#include <set>
#include <sstream>
#include <string_view>
#include <vector>

#include "card_device.h"
#include "dpp_diag/dpp_diag_functions.h"

namespace {

constexpr uint32_t any = UINT32_MAX;
constexpr uint32_t no_manager = 0xD01;
constexpr uint32_t out_of_range = 0x1205;

struct range {
  uint32_t min;
  uint32_t max;
  uint32_t last = max;  // the largest that does some work, not endless work
};
constexpr range word = {0, any};
constexpr range number = {0, any, 0};

struct command_case {
  std::string name;
  std::vector<range> ranges;  // behind dev_id
  uint32_t good_code = 0;     // with words in their ranges, on a card without queues and tables
};

// Functions check their words themselves; what a row takes, its sheet says.
const command_case functions[] = {
    {"diag_dpp_trpg_port_pkt_total_cnt_prt", {}},
    {"diag_dpp_pktrx_port_cnt_prt", {{0, 127}}},
    {"diag_dpp_ppu_instr_prt", {{0, 5}, {0, 0x7FFF}, {0, 1024, 1}}},
    {"diag_dpp_ppu_dup_tbl_prt", {{0, 5}, {0, 0xFFF}}},
    {"diag_dpp_ppu_sdt_tbl_prt", {{0, 5}, {0, 255}}},
    {"diag_dpp_mcode_version", {}},
    {"diag_dpp_mcode_feature_prt", {{0, 5}}},
    {"dpp_regs_print", {{0, 4439}, {0, 4439}}},
    {"clear_dpp", {}},
    {"clear_dpp_se", {}},
    {"mcode_cap_pktrx_print", {}},
    {"mcode_cap_pbu_print", {}},
    {"mcode_cap_odma_print", {}},
    {"mcode_dropstat", {{1, 2}}},
    {"mcode_drop_stat", {{0, 1}, {1, 2}}},
    {"diag_dpp_tm_qmu_qlen_full", {}},
    {"diag_dpp_va_pa_swit_out_prt", {}},
    {"diag_dpp_se_sdt_tbl_prt_all", {}},
    {"diag_dpp_se_etcam_table_block_all_prt", {}},
    {"diag_dpp_stat_tm_init_pre_etm", {{0, 3}}},
    {"diag_dpp_stat_tm_init", {{0, 0x7FFFF}, {1, 1}}},
    {"diag_dpp_stat_car_queue_cfg_prt", {{0, 2}, {0, 0xFFFF}}},
    {"diag_dpp_stat_cara_pkt_queue_cfg_prt", {{0, 0xFFFF}}},
    {"diag_dpp_stat_car_profile_cfg_prt", {{0, 2}, {0, 0xFFFF}}},
    {"diag_dpp_stat_car_queue_map_prt", {{0, 2}, {0, 0xFFFF}}},
    {"diag_dpp_stat_ppu_cnt_prt", {{0, 1}, {0, 0x3FFFFFF}, {0, 1}}},
    {"diag_dpp_stat_ppu_cnt_set", {{0, 0x3FFFFFF}, word, word}},
    {"diag_dpp_tsn_port_gcl_prt", {{0, 3}}},
    {"diag_dpp_dtb_ddr_dir_table_read", {{0, 127}, {0, 0xFFFFF}, {1, 3}, {2, 2}, {0, 0xFFFFFFF}, {0, 63}}, no_manager},
    {"diag_dpp_dtb_smmu0_read_128", {{0, 127}, {0, 0x7FFFF}}, no_manager},
    {"diag_dpp_dtb_smmu0_write_64", {{0, 127}, {0, 0xFFFFF}, word, word}, no_manager},
    {"diag_dpp_dtb_stat_smmu1_read", {{0, 127}, {0x40000, 0x3FFFFFF}}, no_manager},
    {"diag_dpp_dtb_stat_smmu0_read", {{0, 127}, {0, 0x3FFFF}}, no_manager},
    {"dpp_dtb_table_flush", {{0, 127}, {0, 3}, {0, 0xFFF}, {1, 1}}, no_manager},
    {"diag_dpp_dtb_se_alg_read512", {{0, 127}, {0, 0x1FFFF}}, no_manager},
    {"diag_dpp_dtb_smmu0_write_128", {{0, 127}, {0, 0x7FFFF}, word, word, word, word}, no_manager},
    {"diag_dpp_dtb_smmu1_read_512", {{0, 127}, {0, 0xFFFFF}, {0, 0xFFFFFFF}}, no_manager},
    {"diag_dpp_dtb_smmu1_read_256", {{0, 127}, {0, 0xFFFFF}, {0, 0x1FFFFFFF}}, no_manager},
    {"diag_dpp_dtb_smmu1_read_128", {{0, 127}, {0, 0xFFFFF}, {0, 0x3FFFFFFF}}, no_manager},
    {"diag_dpp_dtb_zcam_read", {{0, 127}, {0, 31}, {0, 3}, {0, 511}}, no_manager},
    {"diag_dpp_dtb_etcam_entry_read", {{0, 127}, {0, 7}, {0, 511}}, no_manager},
    {"dpp_download_debug_load", {{0, 5}, {0, 0x7FFF}, word, word, word, word}},
    {"dpp_softdbg_start", {{0, 5}, {0, 7}, {0, 255}}},
    {"dpp_softdbg_stop", {{0, 5}}},
    {"dpp_softdbg_step_into", {{0, 5}}},
    {"dpp_softdbg_step_over", {{0, 5}}},
    {"dpp_softdbg_mem_prt", {{0, 5}, {0, 7}, {0, 0xFFFFF}, {1, 1}}},
    {"dpp_softdbg_reg_prt", {{0, 5}, {0, 7}, {0, 255}, {1, 1}}},
    {"diag_dpp_se_sdt_tbl_prt", {{0, 255}}},
    {"diag_dpp_se_sdt_tbl_prt_type", {{1, 5}}},
    {"diag_dpp_se_sdt_info_srh", {{1, 5}, number}},
    {"diag_dpp_se_smmu0_scan", {{0, 0x7FFFF}, {0, 1}}},
    {"diag_dpp_se_smmu0_rd128", {{0, 0x7FFFF}}},
    {"diag_dpp_se_smmu0_rd128_clear", {{0, 0x7FFFF}}},
    {"diag_dpp_se_smmu0_rd128_more", {{0, 0x7FFFF}, {0, 1}}},
    {"diag_dpp_se_smmu0_rd64", {{0, 0xFFFFF}}},
    {"diag_dpp_se_smmu0_rd32", {{0, 0x1FFFFF}}},
    {"diag_dpp_se_smmu0_rd1", {{0, 0x3FFFFFF}}},
    {"diag_dpp_se_smmu0_rd2", {{0, 0x1FFFFFF}}},
    {"diag_dpp_se_eram_dir_rd_more", {{0, 255}, number, number}},
    {"diag_dpp_se_ddr_dir_rd_more", {{0, 255}, number, number}},
    {"diag_dpp_se_smmu1_dir_tbl_data_rd128", {{0, 63}, {0, 0xFFFFFFF}}},
    {"diag_dpp_se_smmu1_dir_tbl_data_rd256", {{0, 63}, {0, 0x7FFFFFF}}},
    {"diag_dpp_se_smmu1_dir_tbl_data_rd512", {{0, 63}, {0, 0x3FFFFFF}}},
    {"diag_dpp_se_smmu1_rd128_more", {{0, 0xFFFFFFF}, {0, 1}}},
    {"diag_dpp_se_smmu1_rd256_more", {{0, 0x7FFFFFF}, {0, 1}}},
    {"diag_dpp_se_smmu1_rd512_more", {{0, 0x3FFFFFF}, {0, 1}}},
    {"diag_dpp_se_etcam_table_block_prt", {{0, 7}}},
    {"diag_dpp_se_etcam_entry_prt", {{0, 7}, {0, 511}}},
    {"diag_dpp_se_etcam_tbl_entry_prt", {{0, 7}, {0, 32767}}},
    {"diag_dpp_se_hash_ddr4_item_prt", {{0, 3}, {0, 7}, {0, 0x3FFFFFF}}},
    {"diag_dpp_se_hash_zcam_item_prt", {{0, 31}, {0, 3}, {0, 511}}},
    {"diag_dpp_se_hash_key_data",
     {{0, 15}, number, number, number, number, number, number, number, number, number, number}},
    {"diag_dpp_se_hash_search", {{0, 3}, {0, 31}, {0, 62}, {0, 62}}, out_of_range},
    {"diag_dpp_se_lpm_search", {{0, 1}, number, number, number, number, number}},
    {"diag_dpp_se_alg_read512", {{0, 0x1FFFF}}},
    {"diag_dpp_se_alg_read_zblock", {{0, 31}}},
    {"diag_dpp_se_zgroup_check_rd_only", {{0, 3}}},
    {"diag_dpp_se_zgroup_check", {{0, 3}}},
    {"diag_dpp_se_alg_write512_pre_ex",
     {{0, 15}, number, number, number, number, number, number, number, number, number, number}},
    {"diag_dpp_se_alg_write512_ex", {{0, 0x1FFFF}, {0, 15}}},
    {"diag_dpp_se_eram_sdt_tbl_wr", {{0, 255}, {0, 3}, {0, 0x7FFFF}, number}},
    {"diag_dpp_se_sdt_tbl_wr", {{0, 255}, number, number}},
    {"diag_dpp_se_smmu0_wr128", {{0, 0x7FFFF}, number, number, number, number}},
    {"diag_dpp_se_smmu0_wr64", {{0, 0x7FFFF}, number, number, number}},
    {"dpp_sdt_table_data_pre",
     {{0, 39}, number, number, number, number, number, number, number, number, number, number}},
    {"dpp_sdt_table_data_write", {{0, 255}, number}, out_of_range},
    {"dpp_sdt_eram_ddr_table_add", {{0, 255}, {1, 2}, number, number, number}},
};

constexpr uint32_t tool_commands = 293;  // first in the table, behind "quit"

/// The tool's commands that are rows, with the ranges that the help names: "NAME dev_id=0..15 port=0..30 data".
std::vector<command_case> sheet_rows() {
  std::set<std::string> others = {
      "diag_dpp_sdk_version",   "diag_dpp_comm_set_print_level",  // take no device
      "dpp_dtb_prt_enable",     "dpp_dtb_prt_disable",           "dpp_se_tlb_help", "dpp_kshell",
      "host_dtb_huge_mem_init",  // takes a page of this machine
  };
  for (const command_case& c : functions) {
    others.insert(c.name);
  }
  testing::internal::CaptureStdout();
  dpp_shell_help("");
  std::istringstream help(testing::internal::GetCapturedStdout());
  std::vector<command_case> rows;
  std::string line;
  std::getline(help, line);  // "quit"
  for (uint32_t i = 0; i < tool_commands && std::getline(help, line); ++i) {
    std::istringstream words(line.substr(0, line.find("  ")));
    command_case row;
    std::string text;
    words >> row.name >> text;
    if (others.contains(row.name)) {
      continue;
    }
    EXPECT_EQ(text, "dev_id=0..15") << line;
    while (words >> text) {
      range& r = row.ranges.emplace_back(word);
      sscanf(text.c_str() + std::min(text.find('='), text.size()), "=%u..%u", &r.min, &r.max);
      r.last = r.max;
    }
    rows.push_back(row);
  }
  return rows;
}

class Commands : public CommandsOnCard {
 protected:
  static void expect_ranges_kept(const command_case& c) {
    std::vector<uint32_t> lowest = {0};
    std::vector<uint32_t> largest = {0};
    for (const range& r : c.ranges) {
      lowest.push_back(r.min);
      largest.push_back(r.last);
    }
    EXPECT_EQ(command(c.name.c_str(), lowest).code, c.good_code);
    const run_result result = command(c.name.c_str(), largest);
    EXPECT_EQ(result.code, c.good_code) << result.out;
    EXPECT_TRUE(!result.out.empty() || !c.name.ends_with("_prt"));
    const auto refused = [&](size_t place, uint32_t value) {
      std::vector<uint32_t> words = largest;
      words[place] = value;
      accesses = 0;
      const run_result refusal = command(c.name.c_str(), words);
      EXPECT_EQ(refusal.code, out_of_range) << "word " << place << refusal.out;
      EXPECT_TRUE(holds(refusal.out, " INVALID] [min=0x"));
      EXPECT_TRUE(holds(refusal.out, "! FUNCTION :" + c.name + " !\n"));
      // Where the counters end is read from the card.
      const bool reads_limit = c.name.find("_stat_smmu") != std::string::npos && place == 2;
      EXPECT_TRUE(accesses == 0 || reads_limit) << "word " << place;
    };
    refused(0, 16);
    for (size_t i = 0; i < c.ranges.size(); ++i) {
      if (c.ranges[i].max != any) {
        refused(i + 1, c.ranges[i].max + 1);
      }
      if (c.ranges[i].min != 0) {
        refused(i + 1, c.ranges[i].min - 1);
      }
    }
  }
};

TEST_F(Commands, RangesAreTakenFromEndToEndAndCheckedBeforeTheCardIsTouched) {
  const std::vector<command_case> rows = sheet_rows();
  EXPECT_GT(rows.size(), 190u);
  for (const auto& list : {std::span<const command_case>(functions), std::span<const command_case>(rows)}) {
    for (const command_case& c : list) {
      SCOPED_TRACE(c.name);
      expect_ranges_kept(c);
    }
  }
  EXPECT_EQ(command("host_dtb_huge_mem_init", {16}).code, out_of_range);
}

// However many helpers lie between: the user finds the name of the command in the line.
TEST_F(Commands, FailedAccessNamesTheCommand) {
  const std::vector<command_case> rows = sheet_rows();
  refuses = true;
  for (const auto& list : {std::span<const command_case>(functions), std::span<const command_case>(rows)}) {
    for (const command_case& c : list) {
      std::vector<uint32_t> words = {0};
      for (const range& r : c.ranges) {
        words.push_back(r.last);
      }
      const run_result result = command(c.name.c_str(), words);
      if (accesses != 0) {
        EXPECT_NE(result.code, 0u) << c.name;
        EXPECT_TRUE(holds(result.out, "] !-- " + c.name + " Call "));
      }
      accesses = 0;
    }
  }
}

// No command may hang or run away; what goes through a window fails with the code of the window.
TEST_F(Commands, DeadCardEndsEveryCommand) {
  const auto ends = [](const char* name, const std::vector<uint32_t>& words) {
    accesses = 0;
    command(name, words);
    EXPECT_LT(accesses, 20000u) << name;
  };
  dead = true;
  for (uint32_t i = 1; i <= tool_commands; ++i) {
    const char* name = dpp_cmd_get(i)->name;
    if (std::string_view(name) != "host_dtb_huge_mem_init") {  // takes a page of this machine
      ends(name, {0});
    }
  }
  for (const command_case& c : functions) {
    std::vector<uint32_t> words = {0};
    for (const range& r : c.ranges) {
      words.push_back(r.last);
    }
    ends(c.name.c_str(), words);
  }
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  for (const char* name : {"diag_dpp_se_smmu0_rd128", "diag_dpp_se_etcam_entry_prt"}) {
    const run_result result = command(name, {0});
    EXPECT_EQ(result.code, 0x60Au) << name;
    EXPECT_TRUE(holds(result.out, "[ErrorCode:0x60a] !-- " + std::string(name) + " Call "));
  }
  EXPECT_EQ(command("diag_dpp_se_alg_read512", {0}).code, 0x609u);
}

}  // namespace
