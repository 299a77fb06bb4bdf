// The row interpreter, seen through commands: loops, totals, setters, verdicts, failures.
#include "dpp_row.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command.h"
#include "on_memory.h"

namespace {

using diag_test::command;
using diag_test::run_result;
using np_test::memory;
using testing::EndsWith;
using testing::HasSubstr;
using writes = std::vector<std::pair<uint32_t, uint32_t>>;

using Row = OnMemory;

TEST(RowFormat, FormatsAsPrintfDoes) {
  const struct {
    const char* text;
    std::vector<uint64_t> values;
    const char* expected;
  } cases[] = {
      {"plain 100%%\n", {}, "plain 100%\n"},
      {"%u|%5u|%-5u|%05u", {1, 2, 3, 4}, "1|    2|3    |00004"},
      {"0x%08x %x", {0xAB, 0xFFFFFFFF}, "0x000000ab ffffffff"},
      {"%d %d %03d", {0xFFFFFFFF, 5, 0xFFFFFFFE}, "-1 5 -02"},
      {"%llu %16llx", {0xFFFFFFFFFFFFFFFF, 0x123}, "18446744073709551615              123"},
      {"%u", {0x100000001}, "1"},
  };
  for (const auto& c : cases) {
    char out[64];
    dpp_row_format(out, sizeof out, c.text, c.values);
    EXPECT_STREQ(out, c.expected);
  }
  char narrow[8];
  dpp_row_format(narrow, sizeof narrow, "%u %u", std::vector<uint64_t>{12345, 67890});
  EXPECT_STREQ(narrow, "12345 6");
}

TEST_F(Row, ReadsACounterPairOnceAndPrintsBothHalves) {
  memory().words[0x014c40 + 8 * 3] = 7;
  memory().words[0x014c40 + 8 * 3 + 4] = 9;
  EXPECT_EQ(command("diag_dpp_pktrx_pfu_channel_cnt_prt", {0, 3}).out,
            "channel-003 pfu_in: 0x00000007 pfu_out: 0x00000009\n");
  EXPECT_EQ(memory().reads, 1u);
}

TEST_F(Row, PrintsA64BitRegisterAsOneNumber) {
  memory().words[0x400c00 + 0x1000 * 2] = 1;
  memory().words[0x400c04 + 0x1000 * 2] = 2;
  EXPECT_THAT(command("diag_dpp_trpg_port_pkt_cnt_prt", {0, 2}).out,
              testing::StartsWith("PORT_NO: 2, Rx pkt num: 4294967298, Tx pkt num: 0\n"));
}

TEST_F(Row, AddsUpTotals) {
  for (uint32_t port = 0; port < 128; ++port) {
    memory().words[0x01c040 + 4 * port] = 0x10000000;
  }
  EXPECT_THAT(command("diag_dpp_drop", {0}).out, HasSubstr("pbu drop           : 34359738368\n"));
}

TEST_F(Row, SetsFieldsAndKeepsTheOthers) {
  memory().words[0x011bb0] = 0x6;
  EXPECT_EQ(command("diag_dpp_pktrx_cap_filter_sport_set", {0, 1, 25}).code, 0u);
  EXPECT_EQ(memory().writes, (writes{{0x011bb4, 25}, {0x011bb0, 0x7}}));
  memory().writes.clear();
  EXPECT_EQ(command("diag_dpp_pktrx_udf_table_set", {0, 10, 0x01020003, 0x1a0b180a}).code, 0u);
  EXPECT_EQ(memory().writes, (writes{{0x010c90, 0x01020003}, {0x010c94, 0x1a0b180a}}));
}

TEST_F(Row, CaptureIsSetInThreeBlocksInOrder) {
  EXPECT_EQ(command("diag_dpp_nppu_cap_set", {0, 5}).code, 0u);
  EXPECT_EQ(command("diag_dpp_nppu_cap_start", {0, 1}).code, 0u);
  EXPECT_EQ(memory().writes,
            (writes{{0x011ba4, 5}, {0x019418, 5}, {0x0286ac, 5}, {0x011ba8, 1}, {0x01941c, 1}, {0x0286b0, 1}}));
}

TEST_F(Row, FailureEndsTheCommandWithItsTraceAndCode) {
  memory().good_reads = 1;
  const run_result result = command("diag_dpp_isu_stat_cnt_prt", {0});
  EXPECT_EQ(result.code, 1u);
  EXPECT_THAT(result.out, testing::StartsWith("pbu_in: 0x00000000\n"));
  EXPECT_THAT(result.out,
              EndsWith("\n QLIX  isu.rows:# [ErrorCode:0x1] !-- diag_dpp_isu_stat_cnt_prt Call dpp_reg_read Fail!\n"));
  EXPECT_THAT(result.out, testing::Not(HasSubstr("ppu_out")));
}

TEST_F(Row, HealthNamesTheBitsAndCountsThem) {
  memory().words[0x082000] = 1;
  memory().words[0x083000] = 0x21;  // mf_ovf, me_excp
  memory().words[0x082004] = 0x2;   // stays busy
  const run_result result = command("diag_dpp_ppu_health_check", {0});
  EXPECT_EQ(result.code, 0u);
  EXPECT_THAT(result.out, testing::StartsWith("ppu_init_done                           : OK\n"
                                              "ppu_int_status                          : ERROR, mf_ovf me_excp\n"
                                              "ppu_busy                                : BUSY, reorder_busy\n"
                                              "ppu_cls_int_status[0]                   : OK\n"));
  EXPECT_THAT(result.out, EndsWith("PPU: 15 items, 1 error, 0 not ready, 1 busy: NOT HEALTHY\n"));
}

TEST_F(Row, WholeHealthCountsWhatItsBlocksFound) {
  memory().words[0x083000] = 1;
  const run_result result = command("diag_dpp_np_health_check", {0});
  EXPECT_THAT(result.out, HasSubstr("NPPU: 15 items, 0 errors, 5 not ready, 0 busy: NOT HEALTHY\n"));
  EXPECT_THAT(result.out, testing::ContainsRegex("\nNP: [0-9]+ items, 1 error, [0-9]+ not ready, 0 busy: NOT HEALTHY"));
}

}  // namespace
