// Every search-engine command with words at and beyond its ranges: a range is checked before the card is touched, and
// the line that reports it names the command.
#include <gmock/gmock.h>

#include "se_card.h"

namespace {

constexpr uint32_t any = UINT32_MAX;

struct range {
  uint32_t min;
  uint32_t max;
};
struct command_case {
  const char* name;
  std::vector<range> ranges;  // behind dev_id
  uint32_t good_code = 0;     // with the lowest words, on a card without tables
};

const range word = {0, any};

const command_case cases[] = {
    {"diag_dpp_se_cfg_se_empty_prt", {}},
    {"diag_dpp_se", {}},
    {"diag_dpp_se_fc", {}},
    {"diag_dpp_se_error_status", {}},
    {"diag_dpp_se_smmu0_detail", {}},
    {"diag_dpp_se_alg_detail", {}},
    {"diag_dpp_se_etcam_detail", {}},
    {"diag_dpp_se_detail", {}},
    {"diag_dpp_se_detail_fc", {}},
    {"diag_dpp_se_sdt_tbl_prt", {{0, 255}}},
    {"diag_dpp_se_sdt_tbl_prt_all", {}},
    {"diag_dpp_se_sdt_tbl_prt_type", {{1, 5}}},
    {"diag_dpp_se_sdt_info_srh", {{1, 5}, word}},
    {"diag_dpp_se_smmu0_scan", {{0, 0x7FFFF}, {0, 1}}},
    {"diag_dpp_se_smmu0_rd128", {{0, 0x7FFFF}}},
    {"diag_dpp_se_smmu0_rd128_clear", {{0, 0x7FFFF}}},
    {"diag_dpp_se_smmu0_rd128_more", {{0, 0x7FFFF}, {0, 1}}},
    {"diag_dpp_se_smmu0_rd64", {{0, 0xFFFFF}}},
    {"diag_dpp_se_smmu0_rd32", {{0, 0x1FFFFF}}},
    {"diag_dpp_se_smmu0_rd1", {{0, 0x3FFFFFF}}},
    {"diag_dpp_se_smmu0_rd2", {{0, 0x1FFFFFF}}},
    {"diag_dpp_se_eram_dir_rd_more", {{0, 255}, word, word}},
    {"diag_dpp_se_smmu0_plcr_mono_prt", {}},
    {"diag_dpp_se_smmu0_dma_baddr_prt", {}},
    {"diag_dpp_se_smmu0_odma_baddr_prt", {}},
    {"diag_dpp_se_smmu0_mcast_baddr_prt", {}},
    {"diag_dpp_se_smmu0_mcast_tbl_prt", {{0, 255}}},
    {"diag_dpp_se_ddr_dir_rd_more", {{0, 255}, word, word}},
    {"diag_dpp_se_smmu1_dir_tbl_data_rd128", {{0, 63}, {0, 0xFFFFFFF}}},
    {"diag_dpp_se_smmu1_dir_tbl_data_rd256", {{0, 63}, {0, 0x7FFFFFF}}},
    {"diag_dpp_se_smmu1_dir_tbl_data_rd512", {{0, 63}, {0, 0x3FFFFFF}}},
    {"diag_dpp_se_smmu1_rd128_more", {{0, 0xFFFFFFF}, {0, 1}}},
    {"diag_dpp_se_smmu1_rd256_more", {{0, 0x7FFFFFF}, {0, 1}}},
    {"diag_dpp_se_smmu1_rd512_more", {{0, 0x3FFFFFF}, {0, 1}}},
    {"diag_dpp_se_smmu1_cache_en_cfg_prt", {}},
    {"diag_dpp_se_smmu1_ser_cache_en_cfg_prt", {}},
    {"diag_dpp_se_smmu1_ecc_addr_prt", {}},
    {"diag_dpp_se_fifo_depth_val_init_prt", {}},
    {"diag_dpp_se_smmu1_stat_mode_cfg_prt", {}},
    {"diag_dpp_se_etcam_block_tbl_id_prt", {{0, 7}}},
    {"diag_dpp_se_etcam_block_baddr_prt", {{0, 7}}},
    {"diag_dpp_se_etcam_table_block_prt", {{0, 7}}},
    {"diag_dpp_se_etcam_table_block_all_prt", {}},
    {"diag_dpp_se_etcam_entry_prt", {{0, 7}, {0, 511}}},
    {"diag_dpp_se_etcam_tbl_entry_prt", {{0, 7}, {0, 32767}}},
    {"diag_dpp_se_hash_ddr4_item_prt", {{0, 3}, {0, 7}, {0, 0x3FFFFFF}}},
    {"diag_dpp_se_hash_zcam_item_prt", {{0, 31}, {0, 3}, {0, 511}}},
    {"diag_dpp_se_hash_key_data", {{0, 15}, word, word, word, word, word, word, word, word, word, word}},
    {"diag_dpp_se_hash_search", {{0, 3}, {0, 31}, {0, 62}, {0, 62}}, 0x1205},
    {"diag_dpp_se_hash_cfg_prt", {{0, 3}}},
    {"diag_dpp_se_hash_cfg_ex_prt", {{0, 3}}},
    {"diag_dpp_se_lpm_search", {{0, 1}, word, word, word, word, word}},
    {"diag_dpp_se_lpm_cfg_prt", {}},
    {"diag_dpp_se_alg_read512", {{0, 0x1FFFF}}},
    {"diag_dpp_se_alg_read_zblock", {{0, 31}}},
    {"diag_dpp_se_zgroup_check_rd_only", {{0, 3}}},
    {"diag_dpp_se_zgroup_check", {{0, 3}}},
    {"diag_dpp_se_lpm_cfg_ex_prt", {}},
    {"diag_dpp_se_alg_write512_pre_ex", {{0, 15}, word, word, word, word, word, word, word, word, word, word}},
    {"diag_dpp_se_alg_write512_ex", {{0, 0x1FFFF}, {0, 15}}},
    {"diag_dpp_se_eram_sdt_tbl_wr", {{0, 255}, {0, 3}, {0, 0x7FFFF}, word}},
    {"diag_dpp_se_health_check", {}},
    {"diag_dpp_se_sdt_tbl_wr", {{0, 255}, word, word}},
    {"diag_dpp_se_smmu0_wr128", {{0, 0x7FFFF}, word, word, word, word}},
    {"diag_dpp_se_smmu0_wr64", {{0, 0x7FFFF}, word, word, word}},
    {"dpp_sdt_table_data_pre", {{0, 39}, word, word, word, word, word, word, word, word, word, word}},
    {"dpp_sdt_table_data_write", {{0, 255}, word}, 0x1205},
    {"dpp_sdt_eram_ddr_table_add", {{0, 255}, {1, 2}, word, word, word}},
    {"host_dtb_huge_mem_init", {}, 1},
};

class SeRanges : public OnSeCard {
 protected:
  static void expect_refused(const command_case& c, const std::vector<uint32_t>& words) {
    accesses = 0;
    const command_result result = run(c.name, words);
    EXPECT_EQ(result.code, 0x1205u) << c.name;
    EXPECT_EQ(accesses, 0u) << c.name;
    EXPECT_THAT(result.text, testing::HasSubstr(std::string("! FUNCTION :") + c.name + " !\n"));
  }
};

TEST_F(SeRanges, AreCheckedBeforeTheCardIsTouched) {
  for (const command_case& c : cases) {
    std::vector<uint32_t> lowest = {0};
    for (const range& r : c.ranges) {
      lowest.push_back(r.min);
    }
    std::vector<uint32_t> words = lowest;
    words[0] = 16;
    expect_refused(c, words);
    for (size_t i = 0; i < c.ranges.size(); ++i) {
      words = lowest;
      // A number of entries may go up to the end of the memory: from its last entry on that is one.
      if (i == 1 && c.ranges[i].max == 1) {
        words[1] = c.ranges[0].max;
      }
      if (c.ranges[i].min > 0) {
        words[i + 1] = c.ranges[i].min - 1;
        expect_refused(c, words);
      }
      if (c.ranges[i].max != any) {
        words[i + 1] = c.ranges[i].max + 1;
        expect_refused(c, words);
      }
    }
  }
}

TEST_F(SeRanges, GoodWordsWork) {
  for (const command_case& c : cases) {
    if (c.name == std::string("host_dtb_huge_mem_init")) {
      continue;  // takes a page of this machine
    }
    std::vector<uint32_t> words = {0};
    for (const range& r : c.ranges) {
      words.push_back(r.min);
    }
    const command_result result = run(c.name, words);
    EXPECT_EQ(result.code, c.good_code) << c.name << "\n" << result.text;
    words = {0};
    for (const range& r : c.ranges) {
      words.push_back(r.max == any ? 0 : r.max);
    }
    const bool refuses = c.good_code != 0 || c.name == std::string("diag_dpp_se_hash_search");
    const command_result last = run(c.name, words);
    EXPECT_EQ(last.code, refuses ? 0x1205u : 0u) << c.name << "\n" << last.text;
  }
}

// A card that has left the bus: whatever goes through a window fails with the code of the window, and nothing hangs.
TEST_F(SeRanges, DeadCardEndsEveryCommand) {
  dead = true;
  for (const command_case& c : cases) {
    if (c.name == std::string("host_dtb_huge_mem_init")) {
      continue;
    }
    std::vector<uint32_t> words = {0};
    for (const range& r : c.ranges) {
      words.push_back(r.min);
    }
    run(c.name, words);
  }
  for (const char* name : {"diag_dpp_se_smmu0_rd128", "diag_dpp_se_etcam_entry_prt"}) {
    const command_result result = run(name, {0});
    EXPECT_EQ(result.code, 0x60Au) << name;
    EXPECT_THAT(result.text, testing::HasSubstr("[ErrorCode:0x60a] !-- " + std::string(name) + " Call "));
  }
  EXPECT_EQ(run("diag_dpp_se_alg_read512", {0}).code, 0x609u);
}

}  // namespace
