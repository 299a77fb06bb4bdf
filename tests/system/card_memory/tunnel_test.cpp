// Card memory through the tunnel: what the card sees of each access, and what happens when it misbehaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "session.h"

namespace {

using session::one_shot;
using session::plain;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr const char* ADDRESS = "0x6209000100";

std::string transfer(const char* command, const char* data) {
  return std::string("tunnel function=0000:3b:00.0 command=") + command + " data=" + data;
}

kx_system::Result access(const std::string& card, std::vector<std::string> words) {
  return kx_system::run({.card = card, .words = std::move(words), .program = CARD_MEMORY_PROGRAM});
}

TEST(CardMemory, CardSeesTheTransfersOfEveryMode) {
  struct {
    const char* mode;
    const char* secure;
    const char* write_address;
    const char* read_address;
  } cases[] = {
      {"0", "0", "0x90620000", "0x90620000"}, {"1", "0", "0x91620000", "0x91620000"},
      {"2", "0", "0x90620000", "0x92620000"}, {"3", "0", "0x90620000", "0x93620000"},
      {"0", "1", "0x90620000", "0x90620000"}, {"3", "1", "0x90620000", "0x93620000"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string("mode ") + c.mode + " secure " + c.secure);
    const auto result = access(R"({"faults": {"tunnel": {"channel": "free"}}})",
                               {c.mode, c.secure, "w", ADDRESS, "0xa5a55a5a", "r", ADDRESS});
    EXPECT_EQ(result.out, "0\n0 0xa5a55a5a\n");
    std::vector<std::string> expected = {transfer(c.write_address, "0x09000100"),
                                         transfer("0xb0000000", "0xa5a55a5a"),
                                         "card_write address=0x6209000100 value=0xa5a55a5a",
                                         transfer(c.read_address, "0x09000100"),
                                         transfer("0x20000000", "0x00000000"),
                                         "card_read address=0x6209000100 value=0xa5a55a5a"};
    if (c.secure[0] == '1') {
      const std::string status = transfer("0x50000000", "0x00000000");
      expected.insert(expected.begin() + 3, {status, status});
      expected.insert(expected.begin(), status);
      expected.push_back(status);
    }
    EXPECT_EQ(result.log, expected);
  }
}

TEST(CardMemory, ReachesTheControllers) {
  const auto result = access("{}", {"0", "0", "d", "0", "0x204", "d", "4", "0x244", "d", "5", "0"});
  EXPECT_EQ(result.out, "0 0x2010001\n0 0x2010002\nep_no input error\n-1 0x0\n");
}

TEST(CardMemory, SecureModeNoticesABusyChannelAndAFailedAccess) {
  auto result = access(R"({"faults": {"tunnel": {"channel": "changing"}}})", {"0", "1", "r", ADDRESS});
  EXPECT_EQ(result.out, "pcie_tool vpd channel is busy, please retry!\n-2 0x0\n");
  EXPECT_THAT(result.log_of("tunnel"), testing::IsEmpty());

  const char* bad = R"({"faults": {"tunnel": {"channel": "free", "bad_addresses": ["0x6209000100"]}}})";
  result = access(bad, {"0", "1", "r", ADDRESS, "w", ADDRESS, "3", "r", "0x6209000104"});
  EXPECT_EQ(result.out,
            "Read addr[0x6209000100] val from kx failed\n-1 0x0\n"
            "write val[0x3] to kx addr[0x6209000100] failed\n-1\n0 0x0\n");
  // The access after a failed one resets the tunnel first.
  EXPECT_EQ(result.log_of(transfer("0xc0000000", "0x00000000")).size(), 2u);
}

TEST(CardMemory, EveryFaultEndsInOneLineAndAFailure) {
  struct {
    const char* what;
    const char* card;
    const char* line;
  } cases[] = {
      {"no list", R"({"faults": {"configuration": {"capability_pointer": 0}}})", "cap_id_addr invalid\n"},
      {"dead pointer", R"({"faults": {"configuration": {"capability_pointer": 255}}})", "cap_id_addr invalid\n"},
      {"list loops", R"({"faults": {"configuration": {"capability_loop": true}}})", "pcie cap[0x3] not find\n"},
      {"no tunnel", R"({"functions": {"0000:3b:00.0": {"vpd_capability": false}}})", "pcie cap[0x3] not find\n"},
      {"all ones", R"({"faults": {"configuration": {"all_ones": true}}})", "cap_id_addr invalid\n"},
      {"no answer", R"({"faults": {"tunnel": {"transfers": [{"flag_stuck": true}]}}})",
       "wait time: 200 ms, VPD timeout!!!\n"},
      {"gone half-way", R"({"faults": {"tunnel": {"transfers": [{"from": 1, "vanish": true}]}}})",
       "[PCIe] the card does not answer, its configuration space reads all ones!\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const auto result = one_shot(c.card, "kxvqm glb version");
    EXPECT_EQ(result.status, 255);
    EXPECT_THAT(result.out, testing::StartsWith(std::string(c.line) + "REG_READ_32 failed!\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("version id")));
  }
}

TEST(CardMemory, AWordOfAllOnesIsNoFailure) {
  const auto result = one_shot(R"({"queue_engine": {"version": "0xffffffff"}})", "kxvqm glb version");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(plain(result.out), "[vqm version]\n  version id                  : 0xffffffff\n");
}

TEST(CardMemory, AFailingCardEndsALongListAtTheFirstTimeOut) {
  // Transfers 0 and 1 read the version at the bind.
  const auto result =
      one_shot(R"({"faults": {"tunnel": {"transfers": [{"from": 20, "flag_stuck": true}]}}})", "kxvqm vf all");
  EXPECT_THAT(result.out, HasSubstr("vf[1]"));
  EXPECT_THAT(result.out, Not(HasSubstr("vf[2]")));
}

TEST(CardMemory, AKilledToolLeavesNothingBehind) {
  // The answer to transfer 30 is late, so that the kill hits the middle of it.
  const std::string script = std::string(KX_SYSTEM_KXTOOL) +
                             " bind 0000:3b:00.0 kxvqm vf all > /dev/null & sleep 0.3; kill -9 $!; wait; exec " +
                             KX_SYSTEM_KXTOOL + " bind 0000:3b:00.0 kxvqm vf 3";
  const auto result = kx_system::run({
      .card = R"({"faults": {"tunnel": {"transfers": [{"from": 30, "count": 1, "delay_ms": 400}]}},
                  "queue_engine": {"vfs": {"3": {"send_packets": 1, "send_bytes": 2, "receive_packets": 3,
                                                 "receive_bytes": 4, "drops": 5}}}})",
      .words = {"-c", script},
      .program = "/bin/sh",
  });
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(plain(result.out),
            "vf[3]\n  send pkt : \t1\n  send byte: \t2\n  receive pkt : 3\n  receive byte: 4\n  drop pkt cnt: 5\n");
}

TEST(CardMemory, ToolsAtTheSameTimeDoNotMixTheirWords) {
  const std::string tool = std::string(KX_SYSTEM_KXTOOL) + " bind 0000:3b:00.0 ";
  const std::string script = "for i in 1 2 3 4; do " + tool +
                             "kxbttl dxge 1 dump 0 3 > a.$$; done & for i in 1 2 3 4; do " + tool +
                             "kxvqm vf 3 > b.$$ || exit 1; cat b.$$; done; wait; rm -f a.$$ b.$$";
  const auto result = kx_system::run({
      .card = R"({"queue_engine": {"vfs": {"3": {"send_packets": "0x1122334455667788"}}}})",
      .words = {"-c", "cd \"${TMPDIR:-/tmp}\"; " + script},
      .program = "/bin/sh",
  });
  EXPECT_EQ(result.status, 0);
  const std::string once =
      "vf[3]\n  send pkt : \t1234605616436508552\n  send byte: \t0\n  receive pkt : 0\n  receive byte: 0\n"
      "  drop pkt cnt: 0\n";
  EXPECT_EQ(plain(result.out), once + once + once + once);
}

}  // namespace
