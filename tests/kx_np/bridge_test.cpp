// From the words of a line to the driver's function, on the memory-backed device.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../line_numbers.h"
#include "dpp_diag/dpp_cmd.h"
#include "kx_np/cmd.h"
#include "kx_np/np_init.h"
#include "kxtools/cmd.h"
#include "on_memory.h"

namespace {

using np_test::memory;

struct run_result {
  int32_t status;
  std::string out;
};

run_result run(const char* name, std::vector<std::string> words, int32_t (*handler)(kxtools_cmd_context*)) {
  const kxtools_cmd_entry entry = {.name = name};
  std::vector<char*> argp;
  for (std::string& word : words) {
    argp.push_back(word.data());
  }
  kxtools_cmd_context ctx = {.argc = static_cast<uint32_t>(argp.size()), .argp = argp.data(), .cmd = &entry};
  caught_output out;
  const int32_t status = handler(&ctx);
  return {status, without_line_numbers(out.take())};
}

run_result exec(const char* name, const std::vector<std::string>& words) {
  return run(name, words, kxnp_dpp_cmd_exec);
}

using Bridge = OnMemory;

TEST_F(Bridge, WordsBecomeTheParametersInOrder) {
  EXPECT_EQ(exec("dpp_debug_wr", {"0", "0x40", "-1"}).status, 0);
  EXPECT_EQ(exec("dpp_debug_wr", {"0", "010", "0X1f", "surplus"}).status, 0);
  EXPECT_EQ(exec("dpp_debug_wr", {"0", "0x80"}).status, 0);  // what is missing is 0
  const std::vector<std::pair<uint32_t, uint32_t>> expected = {{0x40, 0xFFFFFFFF}, {10, 31}, {0x80, 0}};
  EXPECT_EQ(memory().writes, expected);
}

TEST_F(Bridge, NoWordsCallWithDeviceZero) {
  memory().words[0x02c000] = 5;
  const run_result result = exec("diag_dpp_odma_cnt_prt", {});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, testing::StartsWith("isu_in: 0x00000005\n"));
}

TEST_F(Bridge, TwelveWordsRunAndThirteenDoNot) {
  std::vector<std::string> words(12, "0");
  words[2] = "7";
  EXPECT_EQ(exec("dpp_debug_wr", words).out, "");
  EXPECT_EQ(memory().writes.size(), 1u);
  words.emplace_back("0");
  const run_result result = exec("dpp_debug_wr", words);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "kxtools_err: [kxnp_dpp_cmd_exec][#] ctx->arg_info.argc:13 oversize\n");
  EXPECT_EQ(memory().writes.size(), 1u);
}

TEST_F(Bridge, RefusesWhatItCannotCall) {
  EXPECT_EQ(exec("dpp_reg_filter_level_set", {"0"}).status, -1);
  EXPECT_EQ(exec("dpp_reg_filter_level_set", {}).out, "kxtools_err: [kxnp_dpp_cmd_exec][#] command not found\n");
  kxtools_cmd_context ctx = {};
  caught_output out;
  EXPECT_EQ(kxnp_dpp_cmd_exec(nullptr), -1);
  EXPECT_EQ(kxnp_dpp_cmd_exec(&ctx), -1);
  const kxtools_cmd_entry entry = {.name = "dpp_debug_wr"};
  ctx.cmd = &entry;
  ctx.argc = 1;
  EXPECT_EQ(kxnp_dpp_cmd_exec(&ctx), -1);
  EXPECT_EQ(kxnp_mcode_drop_stat(nullptr), -1);
  EXPECT_EQ(without_line_numbers(out.take()),
            "kxtools_err: [kxnp_dpp_cmd_exec][#] ctx is NULL\n"
            "kxtools_err: [kxnp_dpp_cmd_exec][#] ctx is NULL\n"
            "kxtools_err: [kxnp_dpp_cmd_exec][#] ctx->arg_info.argp is NULL\n"
            "kxtools_err: [kxnp_mcode_drop_stat][#] ctx is NULL\n");
}

// 199 characters are what is left of a longer text, so the driver's own limit of 255 is never met from here.
TEST_F(Bridge, TextIsJoinedAndCut) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{}, {"a", "b"}, std::vector<std::string>(20, std::string(30, 'x'))}) {
    EXPECT_EQ(exec("dpp_kshell", words).out,
              "dpp_kshell: this build cannot reach the NP shell in the kernel, nothing was sent.\n");
  }
}

TEST_F(Bridge, DropStatisticsTakeThreeWords) {
  for (const std::vector<std::string>& words : {std::vector<std::string>{}, {"0", "0"}, {"0", "0", "1", "1"}}) {
    const run_result result = run("mcode_drop_stat", words, kxnp_mcode_drop_stat);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "mcode_drop_stat param num is not right!\n");
  }
  EXPECT_EQ(memory().reads, 0u);
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"0", "0", "3"}, {"0", "0", "0"}, {"0", "2", "1"}, {"16", "0", "1"}}) {
    const run_result result = run("mcode_drop_stat", words, kxnp_mcode_drop_stat);
    EXPECT_EQ(result.status, 0x1205);
    EXPECT_THAT(result.out, testing::EndsWith("! FUNCTION :kxnp_mcode_drop_stat !\n"));
  }
  EXPECT_EQ(memory().reads, 0u);
  memory().words[0x202004] = 1;
  memory().words[0x202010] = 1;
  const run_result result = run("mcode_drop_stat", {"0", "0", "1"}, kxnp_mcode_drop_stat);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 94);
}

TEST_F(Bridge, CallbacksRefuseANullBuffer) {
  const caught_output refusals;
  EXPECT_EQ(dpp_dev_pcie_vpd_read(0, 0, 1, nullptr), 0x1201u);
  EXPECT_EQ(dpp_dev_pcie_vpd_write(0, 0, 1, nullptr), 0x1201u);
}

// Last: it replaces the memory-backed device. Every listed command but one is one of the driver's.
TEST(BridgeTable, ListsTheDriversCommands) {
  ASSERT_EQ(kxnp_cmd_init(), 0);
  const kxtools_cmd_entry& module = kxtools_cmd_list_addr_get()[KXTOOLS_MODULE_KXNP];
  EXPECT_GE(module.sub_cmd_num, 294u);  // what scripts know; a new command adds to them
  uint32_t super = 0;
  std::vector<std::string> missing;
  const DppCmdEntry* last = dpp_cmd_get(0);
  for (uint32_t i = 0; i < module.sub_cmd_num; ++i) {
    const kxtools_cmd_entry& entry = module.sub_cmd_list[i];
    super += entry.permission;
    EXPECT_STREQ(entry.help, "") << entry.name;
    EXPECT_EQ(entry.handler == kxnp_mcode_drop_stat, std::string(entry.name) == "mcode_drop_stat");
    const DppCmdEntry* found = dpp_cmd_find(entry.name);
    if (found == nullptr) {
      missing.emplace_back(entry.name);
      continue;
    }
    EXPECT_EQ(found, last + 1) << entry.name << " is out of order in the driver's table";
    last = found;
  }
  EXPECT_GE(super, 68u);
  EXPECT_THAT(missing, testing::ElementsAre("dpp_reg_filter_level_set"));
}

}  // namespace
