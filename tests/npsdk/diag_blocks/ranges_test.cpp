// Every command of the tool with words at and beyond the ranges of its sheet: a range is checked before anything is
// touched, and the line that reports it names the command. And all of them on a card that has fallen off the bus.

#include <map>
#include <set>
#include <sstream>
#include <string_view>
#include <vector>

#include "card_device.h"

namespace {

constexpr uint32_t device_max = 15;
constexpr uint32_t no_manager = 0xD01;
constexpr uint32_t out_of_range = 0x1205;

struct range {
  uint32_t min = 0;
  uint32_t max = UINT32_MAX;
};

struct command_case {
  std::string name;
  std::vector<range> ranges;     // of every word, dev_id first
  std::vector<uint32_t> lowest;  // words in their ranges
  std::vector<uint32_t> largest;
};

// What has no device, and what takes a page of this machine.
const std::set<std::string> others = {"diag_dpp_sdk_version",  "diag_dpp_comm_set_print_level",
                                      "dpp_dtb_prt_enable",    "dpp_dtb_prt_disable",
                                      "dpp_se_tlb_help",       "dpp_kshell",
                                      "host_dtb_huge_mem_init"};

// Words whose range depends on another word, which the sheet does not tell: place and value.
const std::map<std::string, std::pair<size_t, uint32_t>> dependent = {{"diag_dpp_stat_tm_init", {2, 1}},
                                                                      {"dpp_dtb_table_flush", {4, 1}},
                                                                      {"dpp_softdbg_mem_prt", {4, 1}},
                                                                      {"dpp_softdbg_reg_prt", {4, 1}},
                                                                      {"diag_dpp_dtb_stat_smmu0_read", {2, 0x3FFFF}},
                                                                      {"diag_dpp_dtb_stat_smmu1_read", {2, 0x40000}}};

// The codes of words in their ranges, on a card without queues and tables.
uint32_t good_code(std::string_view name) {
  const bool queue = name.ends_with("_read") || name.find("_read_") != name.npos || name.find("_write_") != name.npos ||
                     name.ends_with("_read512") || name == "dpp_dtb_table_flush" || name.ends_with("_smmu1_read");
  if (queue && name.find("_dtb_") != name.npos) {
    return no_manager;
  }
  return name == "diag_dpp_se_hash_search" || name == "dpp_sdt_table_data_write" ? out_of_range : 0;
}

command_case case_of(const DppCmdEntry& entry) {
  testing::internal::CaptureStdout();
  dpp_cmd_usage_print(entry);
  std::istringstream words(testing::internal::GetCapturedStdout());
  std::string line;
  std::getline(words, line);
  words.str(line);
  command_case made;
  words >> made.name;
  for (std::string word; words >> word;) {
    range& r = made.ranges.emplace_back();
    const bool ranged = sscanf(word.c_str() + std::min(word.find('='), word.size()), "=%u..%u", &r.min, &r.max) == 2;
    made.lowest.push_back(made.lowest.empty() ? 0 : r.min);
    made.largest.push_back(made.largest.empty() || !ranged ? 0 : r.max);
  }
  if (const auto found = dependent.find(made.name); found != dependent.end()) {
    made.lowest[found->second.first] = made.largest[found->second.first] = found->second.second;
  }
  return made;
}

std::vector<command_case> cases() {
  std::vector<command_case> made;
  for (uint32_t i = 0; i < DPP_CMD_LISTED_NUM; ++i) {
    const DppCmdEntry* entry = dpp_cmd_find(dpp_cmd_listed_get(i).name);
    if (entry != nullptr && !others.contains(entry->name)) {
      made.push_back(case_of(*entry));
    }
  }
  return made;
}

class Commands : public CommandsOnCard {
 protected:
  static void expect_taken(const command_case& c, const std::vector<uint32_t>& words) {
    const run_result result = command(c.name.c_str(), words);
    EXPECT_EQ(result.code, good_code(c.name)) << result.out;
    EXPECT_THAT(result.out, Not(HasSubstr(".rows:#[Error:VALUE")));
    EXPECT_TRUE(!result.out.empty() || !c.name.ends_with("_prt") || words == c.lowest);
  }
  static void expect_refused(const command_case& c, size_t place, uint32_t value) {
    std::vector<uint32_t> words = c.largest;
    words[place] = value;
    accesses = 0;
    const run_result refusal = command(c.name.c_str(), words);
    EXPECT_EQ(refusal.code, out_of_range) << "word " << place << refusal.out;
    char line[160];
    snprintf(line, sizeof line, ".rows:#[Error:VALUE[0x%x] INVALID] [min=0x%x,max=0x%x] ! FUNCTION :%s !\n", value,
             c.ranges[place].min, c.ranges[place].max, c.name.c_str());
    EXPECT_THAT(refusal.out, HasSubstr(line));
    EXPECT_EQ(accesses, 0u) << "word " << place;
  }
};

TEST_F(Commands, RangesAreTakenFromEndToEndAndCheckedBeforeTheCardIsTouched) {
  const std::vector<command_case> all = cases();
  EXPECT_EQ(all.size(), DPP_CMD_LISTED_NUM - 1 - others.size());
  for (const command_case& c : all) {
    SCOPED_TRACE(c.name);
    for (const uint32_t cluster : {0u, 5u}) {
      command("dpp_softdbg_stop", {0, cluster});  // only what stands can take a step
    }
    ASSERT_EQ(c.ranges[0].max, device_max);
    expect_taken(c, c.lowest);
    expect_taken(c, c.largest);
    for (size_t i = 0; i < c.ranges.size(); ++i) {
      if (c.ranges[i].max != UINT32_MAX) {
        expect_refused(c, i, c.ranges[i].max + 1);
      }
      if (c.ranges[i].min != 0) {
        expect_refused(c, i, c.ranges[i].min - 1);
      }
    }
  }
  EXPECT_EQ(command("host_dtb_huge_mem_init", {device_max + 1}).code, out_of_range);
}

// Limits that another word or the card gives are the command's own to check.
TEST_F(Commands, DependentRangesAreCheckedByTheCommand) {
  const std::pair<const char*, std::vector<uint32_t>> beyond[] = {
      {"diag_dpp_stat_tm_init", {0, 0x7FFFF, 2}},
      {"diag_dpp_se_smmu0_rd128_more", {0, 0x7FFFF, 2}},
      {"diag_dpp_se_smmu0_scan", {0, 0x7FFFE, 3}},
      {"diag_dpp_se_smmu1_rd128_more", {0, 0xFFFFFFF, 2}},
      {"diag_dpp_se_smmu1_rd512_more", {0, 0x3FFFFFF, 2}},
      {"dpp_softdbg_mem_prt", {0, 0, 0, 0xFFFFF, 2}},
      {"dpp_softdbg_reg_prt", {0, 0, 0, 255, 2}},
      {"dpp_softdbg_reg_prt", {0, 0, 0, 0, 0}},
      {"diag_dpp_dtb_ddr_dir_table_read", {0, 0, 0, 3, 1}},
      {"diag_dpp_dtb_ddr_dir_table_read", {0, 0, 0, 1, 2, 0x10000000}},
      {"diag_dpp_dtb_ddr_dir_table_read", {0, 0, 0, 1, 2, 0, 64}},
      {"diag_dpp_dtb_stat_smmu0_read", {0, 0, 0x40000}},
      {"dpp_dtb_table_flush", {0, 0, 3, 0x1000, 1}},
      {"dpp_dtb_table_flush", {0, 0, 3, 0xFFF, 2}},
      {"dpp_sdt_eram_ddr_table_add", {0, 0, 2, 3}},
      {"dpp_regs_print", {0, 4440, 0}},
  };
  for (const auto& [name, words] : beyond) {
    const run_result refusal = command(name, words);
    EXPECT_EQ(refusal.code, out_of_range) << name;
    EXPECT_THAT(refusal.out, HasSubstr("! FUNCTION :" + std::string(name) + " !\n"));
  }
}

// However many helpers lie between: the user finds the name of the command in the line.
TEST_F(Commands, FailedAccessNamesTheCommand) {
  refuses = true;
  for (const command_case& c : cases()) {
    const run_result result = command(c.name.c_str(), c.largest);
    if (accesses != 0) {
      EXPECT_NE(result.code, 0u) << c.name;
      EXPECT_THAT(result.out, HasSubstr("] !-- " + c.name + " Call "));
    }
    accesses = 0;
  }
}

// No command may hang or run away; what goes through a window fails with the code of the window.
TEST_F(Commands, DeadCardEndsEveryCommand) {
  dead = true;
  for (const command_case& c : cases()) {
    for (const std::vector<uint32_t>& words : {std::vector<uint32_t>{0}, c.largest}) {
      accesses = 0;
      command(c.name.c_str(), words);
      EXPECT_LT(accesses, 20000u) << c.name;
    }
  }
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  for (const char* name : {"diag_dpp_se_smmu0_rd128", "diag_dpp_se_etcam_entry_prt"}) {
    const run_result result = command(name, {0});
    EXPECT_EQ(result.code, 0x60Au) << name;
    EXPECT_THAT(result.out, HasSubstr("[ErrorCode:0x60a] !-- " + std::string(name) + " Call "));
  }
  EXPECT_EQ(command("diag_dpp_se_alg_read512", {0}).code, 0x609u);
}

}  // namespace
