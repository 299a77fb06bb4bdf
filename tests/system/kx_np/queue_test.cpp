// Table entries that go through a queue of the queue engine in the tool's shell.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "system/session.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;

// Scripts see a command that was found, whatever came of it.
TEST(KxnpQueue, RefusalsLeaveTheStatus) {
  const kx_system::Result failed = session::one_shot("{}", "kxnp diag_dpp_dtb_smmu0_read_128 0 0 0");
  EXPECT_EQ(failed.status, 0);
  EXPECT_THAT(failed.out, HasSubstr("ErrorCode[0xd01]: DTB Manager is not exist!!!\n"));
  EXPECT_THAT(failed.out,
              HasSubstr("[ErrorCode:0xd01] !-- diag_dpp_dtb_smmu0_read_128 Call dpp_dtb_smmu0_row_dump Fail!\n"));
}

// Entries go to the card and come back by DMA; its registers see them too.
TEST(KxnpQueue, QueueMovesTableEntries) {
  const std::vector<std::string> lines = {
      "kxnp host_dtb_huge_mem_init 0",          "kxnp diag_dpp_dtb_smmu0_write_128 0 0 5 1 2 3 4",
      "kxnp diag_dpp_dtb_smmu0_read_128 0 0 5", "kxnp diag_dpp_dtb_stat_smmu0_read 0 0 0x11d02",
      "kxnp dpp_dtb_table_flush 0 0 0 5 1",     "kxnp diag_dpp_dtb_smmu0_read_128 0 0 5",
      "kxnp diag_dpp_dtb_smmu0_read_128 0 1 5",
  };
  const session::Session session =
      session::run(R"({"network_processor": {"statistics": {"0x11d02": "0x500000006"}}})", lines, true);
  if (session.outputs[0].find("down init success!!!") == std::string::npos) {
    GTEST_SKIP() << session.outputs[0];
  }
  EXPECT_THAT(session.outputs[1], IsEmpty());
  EXPECT_EQ(session.outputs[2], "smmu0-0x00005: 0x00000001 0x00000002 0x00000003 0x00000004\n");
  EXPECT_EQ(session.outputs[3], "stat index[0x00011d02] value[0x00000005,0x00000006]\n");
  EXPECT_EQ(session.outputs[4], "smmu0: entries 0x5 to 0x5 are cleared\n");
  EXPECT_EQ(session.outputs[5], "smmu0-0x00005: 0x00000000 0x00000000 0x00000000 0x00000000\n");
  EXPECT_THAT(session.outputs[6], HasSubstr("dtb queue 1 is not init.\n"));
  EXPECT_THAT(session.result.log_of("table_block "),
              testing::Contains("table_block queue=0 bytes=16 dump=1 status=0xff"));
}

// A card that is late is waited for; one that refuses or keeps silent leaves its reason, and the queue goes on.
TEST(KxnpQueue, QueueTroubleIsTold) {
  const struct {
    const char* queues;
    std::vector<const char*> wrote;
    const char* flushed;
  } troubles[] = {
      {R"({"delay_ms": 30})", {}, "smmu0: entries 0x5 to 0x5 are cleared\n"},
      {R"({"status": 19})", {"[ErrorCode:0x5a5a5a13]"}, "smmu0: stopped, 0x0 of 0x1 entries from 0x5 on are cleared\n"},
      {R"({"silent": true})",
       {"Error!!! dpp dtb down queue [0] item [0] ack success is overtime!\n", "dtb down table info", "dtb reg info",
        "[ErrorCode:0x1]"},
       "smmu0: stopped, 0x0 of 0x1 entries from 0x5 on are cleared\n"},
  };
  for (const auto& trouble : troubles) {
    const session::Session session =
        session::run(std::string(R"({"table_queues": )") + trouble.queues + "}",
                     {"kxnp host_dtb_huge_mem_init 0", "kxnp diag_dpp_dtb_smmu0_write_128 0 0 5 1 2 3 4",
                      "kxnp dpp_dtb_table_flush 0 0 0 5 1"},
                     true);
    if (session.outputs[0].find("down init success!!!") == std::string::npos) {
      GTEST_SKIP() << session.outputs[0];
    }
    if (trouble.wrote.empty()) {
      EXPECT_THAT(session.outputs[1], IsEmpty());
    }
    for (const char* part : trouble.wrote) {
      EXPECT_THAT(session.outputs[1], HasSubstr(part)) << trouble.queues;
    }
    EXPECT_THAT(session.outputs[2], HasSubstr(trouble.flushed)) << trouble.queues;
  }
}

// A flush that a signal ends says how far it got; then the signal has its effect on the tool.
TEST(KxnpQueue, InterruptedFlushIsToldBeforeTheToolEnds) {
  const struct {
    int number;
    int status;
  } signals[] = {{SIGINT, 0}, {SIGTERM, 128 + SIGTERM}, {SIGHUP, 128 + SIGHUP}};
  for (const auto& signal : signals) {
    kx_system::Process shell({});
    shell.send("0\nsu opsu\nkxnp host_dtb_huge_mem_init 0\nkxnp dpp_dtb_table_flush 0 0 1 0 0x10000000\n");
    if (!shell.expect("down init success!!!")) {
      GTEST_SKIP() << shell.output();
    }
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

// The form of dump commands is the card's to state: without it no table is read through a queue.
TEST(KxnpQueue, NoTableIsReadFromACardThatStatesNoDumpForm) {
  const char* reads[] = {
      "smmu0_read_128 0 0 0",        "smmu1_read_128 0 0 0 0",   "smmu1_read_256 0 0 0 0",
      "smmu1_read_512 0 0 0 0",      "zcam_read 0 0 0 0 0",      "se_alg_read512 0 0 0",
      "stat_smmu0_read 0 0 0",       "etcam_entry_read 0 0 0 0", "ddr_dir_table_read 0 0 0 1 1 0 0",
      "stat_smmu1_read 0 0 0x80000",
  };
  std::vector<std::string> lines = {"kxnp host_dtb_huge_mem_init 0"};
  for (const char* read : reads) {
    lines.push_back(std::string("kxnp diag_dpp_dtb_") + read);
  }
  const session::Session session = session::run(R"({"network_processor": {"dump_command_form": 0}})", lines, true);
  for (size_t i = 1; i < lines.size(); ++i) {
    EXPECT_THAT(session.outputs[i], testing::StartsWith("device 0 states no dump command form that this build knows"))
        << lines[i];
  }
  EXPECT_THAT(session.result.log_of("table_block "), IsEmpty());
}

}  // namespace
