// The driver's command table: its size and order, finding a name, reading a word as an integer.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "command.h"
#include "dpp_reg/dpp_reg_info.h"
#include "memory_device.h"

namespace {

TEST(CommandTable, EveryRecordIsFoundByItsNameAsTheFirstMatch) {
  std::map<std::string, const DppCmdEntry*> first;
  uint32_t shell_words = 0;
  for (uint32_t i = 0; i < DPP_CMD_NUM; ++i) {
    const DppCmdEntry* entry = dpp_cmd_get(i);
    ASSERT_NE(entry, nullptr);
    ASSERT_NE(entry->func, nullptr) << entry->name;
    ASSERT_NE(entry->help, nullptr) << entry->name;
    first.try_emplace(entry->name, entry);
    shell_words += entry->in_driver == 0 ? 1 : 0;
  }
  for (const auto& [name, entry] : first) {
    EXPECT_EQ(dpp_cmd_find(name.c_str()), entry) << name;
  }
  EXPECT_EQ(dpp_cmd_get(5149), nullptr);
  EXPECT_EQ(shell_words, 4u);
  EXPECT_STREQ(dpp_cmd_get(0)->name, "quit");
  EXPECT_STREQ(dpp_cmd_get(0)->help, "Quit shell");
  EXPECT_STREQ(dpp_cmd_get(1)->name, "diag_dpp_trpg_port_pkt_total_cnt_prt");
}

TEST(CommandTable, NamesAreWholeAndCaseSensitive) {
  for (const char* name : {"", "qui", "quit ", "QUIT", "diag_dpp_trpg_pps", "dpp_reg_filter_level_set"}) {
    EXPECT_EQ(dpp_cmd_find(name), nullptr) << name;
  }
  EXPECT_EQ(dpp_cmd_find(nullptr), nullptr);
  EXPECT_EQ(dpp_cmd_find("dpp_kshell")->int_args, 0u);
}

TEST(CommandTable, HasAPrinterForEachRegister) {
  for (uint32_t reg_no = 0; reg_no < DPP_REG_NUM; ++reg_no) {
    const std::string name = "diag_dpp_reg_" + std::string(dpp_reg_name_get(reg_no)) + "_prt";
    EXPECT_NE(dpp_cmd_find(name.c_str()), nullptr) << name;
  }
}

TEST(CommandTable, RegisterPrinterTakesTheIndexesThatTheRegisterHas) {
  np_test::memory_device_add(0);
  np_test::memory().words[0x88000 + 0x8000 + 0x2040 + 4 * 3] = 0x80050010;
  EXPECT_EQ(diag_test::command("diag_dpp_reg_ppu_me_excp_prt", {0, 1, 3}).out,
            "M:1, N:3\n"
            "excp_valid                              : 0x00000001\n"
            "excp_type                               : 0x00000005\n"
            "excp_pc                                 : 0x00000010\n");
  const diag_test::run_result beyond = diag_test::command("diag_dpp_reg_ppu_me_excp_prt", {0, 6, 3});
  EXPECT_EQ(beyond.code, 0x1205u);
  EXPECT_EQ(
      beyond.out,
      "\n dpp_cmd.cpp:#[Error:VALUE[0x6] INVALID] [min=0x0,max=0x5] ! FUNCTION :diag_dpp_reg_ppu_me_excp_prt !\n");
  EXPECT_EQ(diag_test::command("diag_dpp_reg_cpu_check_reg_dump", {0}).out,
            "reg_no:5, name:cpu_check_reg\n0x00000000\n");
}

TEST(Atoi, ReadsHexadecimalAndDecimalUpToWhatDoesNotFit) {
  const struct {
    std::vector<const char*> texts;
    uint32_t value;
  } cases[] = {
      {{"0x1F", "0X1F", "31"}, 31},
      {{"12ab", "12", " 12", "+12", "0xC", "0x0cxy"}, 12},
      {{"010", "10 2"}, 10},
      {{"", "abc", "0x", "0xzz", "x1F"}, 0},
      {{"-1", "4294967295", "0xffffffff"}, 0xFFFFFFFF},
      {{"-2147483648", "2147483648"}, 0x80000000},
  };
  for (const auto& [texts, value] : cases) {
    for (const char* text : texts) {
      EXPECT_EQ(dpp_atoi(text), value) << text;
    }
  }
  EXPECT_EQ(dpp_atoi(nullptr), 0u);
}

}  // namespace
