// The command tables: every row is complete and every word finds its row.
#include "options.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "channel/event.h"
#include "kxtool/commands.h"
#include "silence_check.h"
#include "startup/exit.h"
#include "startup/silence.h"
#include "sub_commands.h"

namespace {

TEST(Options, WordsFindTheirRowAsAWhole) {
  const std::pair<const char*, int32_t> cases[] = {
      {"-h", 1},   {"--help", 1},  {"-v", 2},       {"bl1", 3},     {"-f", 4},       {"-fw", 4},      {"fwupdate", 4},
      {"fget", 6}, {"log", 6},     {"regsmem", 10}, {"devmem", 10}, {"sn_info", 24}, {"sw_stat", 34}, {"", -1},
      {"-", -1},   {"-f|-fw", -1}, {"fw", -1},      {"logs", -1},   {"lo", -1},      {"bind", -1},
  };
  for (const auto& [word, index] : cases) {
    EXPECT_EQ(kxtool_option_index_get(KXTOOL_OPTIONS, word), index) << word;
  }
  const kxtool_option ends_early[] = {{}, {"a"}, {}, {"b"}};
  EXPECT_EQ(kxtool_option_index_get({ends_early, 4}, "a"), 1);
  EXPECT_EQ(kxtool_option_index_get({ends_early, 4}, "b"), -1);
}

TEST(SubCommands, EveryEntryButBindHasARowAndItsHelp) {
  ASSERT_EQ(kxtool_cmd_init(), 0);
  EXPECT_EQ(kxtools_cmd_sub_list_addr_get(KXTOOLS_MODULE_KXTOOL), kxtool_sub_command_list.data());
  std::string super;
  std::string ungated;
  for (const kxtools_cmd_entry& entry : kxtool_sub_command_list) {
    const bool is_bind = strcmp(entry.name, "bind") == 0;
    EXPECT_EQ(entry.handler, is_bind ? kxtool_bind : kxtool_cmd) << entry.name;
    EXPECT_EQ(kxtool_option_index_get(KXTOOL_OPTIONS, entry.name) > 0, !is_bind) << entry.name;
    EXPECT_EQ(entry.help, kxtool_args_help(entry.name)) << entry.name;
    super += entry.permission == 1 ? std::string(entry.name) + " " : "";
    ungated += entry.major == 255 ? std::string(entry.name) + " " : "";
  }
  EXPECT_EQ(super,
            "bl1 regsdump regsmem devmem eeupdate reset fput einj rm_ras_log prt_rv_bb flash rdmacfg bar_test hw_test "
            "mcode ");
  EXPECT_EQ(ungated, "-h --help -v --version repair dump_eth_info bind ");
  EXPECT_EQ(kxtool_option_index_get(KXTOOL_OPTIONS, "shell"), 18);
}

TEST(Words, NumbersOutsideOfTheirRangeEndTheProcess) {
  EXPECT_EQ(kxtool_number_get("12", 10, 0, 12), 12);
  EXPECT_EQ(kxtool_number_get("0x1F", 0, 0, 31), 31);
  EXPECT_EQ(kxtool_number_get("-3", 10, -3, 0), -3);
  for (const char* word : {"", "x", "1x", "13", "-1", "99999999999999999999", "0x"}) {
    EXPECT_EXIT(kxtool_number_get(word, 10, 0, 12), testing::ExitedWithCode(1),
                "kxtool: bad command line argument\\(s\\)\nFor more information run kxtool -h\n")
        << word;
  }
}

TEST(Silence, OnePeriodWithoutARequestOrANoticeIsReported) {
  int calls = 0;
  kxtool_regiser_silence_cb([](void* argument) { ++*static_cast<int*>(argument); }, &calls);
  kxtool_silence_check();
  const int first = calls;  // the counters at start may or may not have moved
  kxtool_silence_check();
  EXPECT_EQ(calls, first + 1);
  ++kxtool_stats.tx_req;
  kxtool_silence_check();
  EXPECT_EQ(calls, first + 1);
  ++kxtool_stats.rx_pkt;
  kxtool_silence_check();
  EXPECT_EQ(calls, first + 1);
  kxtool_silence_check();
  EXPECT_EQ(calls, first + 2);
  kxtool_regiser_silence_cb(nullptr, nullptr);
  kxtool_silence_check();
  EXPECT_EQ(calls, first + 2);
}

}  // namespace
