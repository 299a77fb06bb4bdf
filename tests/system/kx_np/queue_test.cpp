// Table entries that go through a queue of the queue engine in the tool's shell.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "system/session.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

// Scripts see a command that was found, whatever came of it.
TEST(KxnpNoQueue, RefusalsLeaveTheStatus) {
  const kx_system::Result failed = session::one_shot("{}", "kxnp diag_dpp_dtb_smmu0_read_128 0 0 0");
  EXPECT_EQ(failed.status, 0);
  EXPECT_THAT(failed.out, HasSubstr("ErrorCode[0xd01]: DTB Manager is not exist!!!\n"));
  EXPECT_THAT(failed.out,
              HasSubstr("[ErrorCode:0xd01] !-- diag_dpp_dtb_smmu0_read_128 Call dpp_dtb_smmu0_row_dump Fail!\n"));
}

// Where the machine lends huge pages.
class KxnpQueue : public testing::Test {
 protected:
  void SetUp() override {
    static const std::string told = session::line_run("{}", "kxnp host_dtb_huge_mem_init 0");
    if (told.find("down init success!!!") == std::string::npos) {
      GTEST_SKIP() << told;
    }
  }
};

// Entries go to the card and come back by DMA; its registers see them too.
TEST_F(KxnpQueue, QueueMovesTableEntries) {
  const std::vector<session::Row> rows = {
      {"host_dtb_huge_mem_init 0", testing::_},
      {"diag_dpp_dtb_smmu0_write_128 0 0 5 1 2 3 4", ""},
      {"diag_dpp_dtb_smmu0_read_128 0 0 5", "smmu0-0x00005: 0x00000001 0x00000002 0x00000003 0x00000004\n"},
      {"diag_dpp_dtb_stat_smmu0_read 0 0 0x11d02", "stat index[0x00011d02] value[0x00000005,0x00000006]\n"},
      {"dpp_dtb_table_flush 0 0 0 5 1", "smmu0: entries 0x5 to 0x5 are cleared\n"},
      {"diag_dpp_dtb_smmu0_read_128 0 0 5", "smmu0-0x00005: 0x00000000 0x00000000 0x00000000 0x00000000\n"},
      {"diag_dpp_dtb_smmu0_read_128 0 1 5", HasSubstr("dtb queue 1 is not init.\n")},
  };
  const session::Session session = session::expect_shows(
      R"({"network_processor": {"statistics": {"0x11d02": "0x500000006"}}})", "kxnp ", rows, true);
  EXPECT_THAT(session.result.log_of("table_block "),
              testing::Contains("table_block queue=0 bytes=16 dump=1 status=0xff"));
}

// A card that is late is waited for; one that refuses or keeps silent leaves its reason, and the queue goes on.
TEST_F(KxnpQueue, QueueTroubleIsTold) {
  const struct {
    const char* queues;
    testing::Matcher<const std::string&> wrote;
    const char* flushed;
  } troubles[] = {
      {R"({"delay_ms": 30})", "", "smmu0: entries 0x5 to 0x5 are cleared\n"},
      {R"({"status": 19})", HasSubstr("[ErrorCode:0x5a5a5a13]"),
       "smmu0: stopped, 0x0 of 0x1 entries from 0x5 on are cleared\n"},
      {R"({"silent": true})",
       AllOf(HasSubstr("Error!!! dpp dtb down queue [0] item [0] ack success is overtime!\n"),
             HasSubstr("dtb down table info"), HasSubstr("dtb reg info"), HasSubstr("[ErrorCode:0x1]")),
       "smmu0: stopped, 0x0 of 0x1 entries from 0x5 on are cleared\n"},
  };
  for (const auto& trouble : troubles) {
    SCOPED_TRACE(trouble.queues);
    session::expect_shows(std::string(R"({"table_queues": )") + trouble.queues + "}", "kxnp ",
                          {{"host_dtb_huge_mem_init 0", testing::_},
                           {"diag_dpp_dtb_smmu0_write_128 0 0 5 1 2 3 4", trouble.wrote},
                           {"dpp_dtb_table_flush 0 0 0 5 1", HasSubstr(trouble.flushed)}},
                          true);
  }
}

// A flush that a signal ends says how far it got; then the signal has its effect on the tool.
TEST_F(KxnpQueue, InterruptedFlushIsToldBeforeTheToolEnds) {
  const struct {
    int number;
    int status;
  } signals[] = {{SIGINT, 0}, {SIGTERM, 128 + SIGTERM}, {SIGHUP, 128 + SIGHUP}};
  for (const auto& signal : signals) {
    kx_system::Process shell({});
    shell.send("0\nsu opsu\nkxnp host_dtb_huge_mem_init 0\nkxnp dpp_dtb_table_flush 0 0 1 0 0x10000000\n");
    ASSERT_TRUE(shell.expect_log("table_block "));
    const std::vector<pid_t> tools = shell.tools();
    ASSERT_EQ(tools.size(), 1u);
    kill(tools[0], signal.number);
    EXPECT_TRUE(shell.expect(" of 0x10000000 entries from 0x0 on are cleared\n")) << signal.number;
    EXPECT_THAT(shell.output(), HasSubstr("smmu1: interrupted, 0x"));
    shell.send("quit\n");
    EXPECT_EQ(shell.wait().status, signal.status) << shell.output();
  }
}

}  // namespace
