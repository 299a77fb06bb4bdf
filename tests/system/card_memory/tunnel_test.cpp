// Card memory through the tunnel: what the card sees of each access, and what happens when it misbehaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/session.h"

namespace {

using namespace kx_system;

using session::one_shot;
using session::plain;

std::string transfer(const char* command, const char* data) {
  return std::string("tunnel function=0000:3b:00.0 command=") + command + " data=" + data;
}

TEST(CardMemory, CardSeesTheTransfersOfEveryMode) {
  struct {
    const char* mode;
    bool secure;
    const char* write_address;
    const char* read_address;
  } cases[] = {
      {"0", false, "0x90620000", "0x90620000"}, {"1", false, "0x91620000", "0x91620000"},
      {"2", false, "0x90620000", "0x92620000"}, {"3", false, "0x90620000", "0x93620000"},
      {"0", true, "0x90620000", "0x90620000"},  {"1", true, "0x91620000", "0x91620000"},
      {"3", true, "0x90620000", "0x93620000"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string("mode ") + c.mode + (c.secure ? " secure" : ""));
    const auto session = session::run(R"({"faults": {"tunnel": {"channel": "free"}}})",
                                      {std::string("kxpcie tunnel_mode access ") + c.mode,
                                       std::string("kxpcie tunnel_mode secure ") + (c.secure ? "1" : "0"),
                                       "kxpcie devmem_write 0x6209000100 0xa5a55a5a", "kxpcie devmem 0x6209000100"},
                                      true);
    EXPECT_EQ(session.outputs[3], "0x6209000100: 0xa5a55a5a\n");
    std::vector<std::string> expected = {transfer(c.write_address, "0x09000100"),
                                         transfer("0xb0000000", "0xa5a55a5a"),
                                         "card_write address=0x6209000100 value=0xa5a55a5a",
                                         transfer(c.read_address, "0x09000100"),
                                         transfer("0x20000000", "0x00000000"),
                                         "card_read address=0x6209000100 value=0xa5a55a5a"};
    if (c.secure) {
      const std::string status = transfer("0x50000000", "0x00000000");
      expected.insert(expected.begin() + 3, {status, status});
      expected.insert(expected.begin(), status);
      expected.push_back(status);
    }
    // Three lines belong to the bind.
    const std::vector<std::string>& log = session.result.log;
    EXPECT_EQ(std::vector<std::string>(log.begin() + std::min<std::ptrdiff_t>(3, std::ssize(log)), log.end()),
              expected);
  }
}

TEST(CardMemory, SecureModeNoticesABusyChannelAndAFailedAccess) {
  const std::string secure = "kxpcie tunnel_mode secure 1";
  const std::string read = "kxpcie devmem 0x6209000100";
  auto session = session::run(R"({"faults": {"tunnel": {"channel": "changing"}}})", {secure, read}, true);
  EXPECT_THAT(session.outputs[1], StartsWith("pcie_tool vpd channel is busy, please retry!\n"));
  EXPECT_EQ(session.result.log_of("tunnel").size(), 2u) << "the bind's";

  const char* bad = R"({"faults": {"tunnel": {"channel": "free", "bad_addresses": ["0x6209000100"]}}})";
  session = session::run(bad, {secure, read, "kxpcie devmem_write 0x6209000100 3", "kxpcie devmem 0x6209000104"}, true);
  EXPECT_THAT(session.outputs[1], StartsWith("Read addr[0x6209000100] val from kx failed\n"));
  EXPECT_THAT(session.outputs[2], HasSubstr("write val[0x3] to kx addr[0x6209000100] failed\n"));
  EXPECT_EQ(session.outputs[3], "0x6209000104: 0x00000000\n");
  // The access after a failed one resets the tunnel first.
  EXPECT_EQ(session.result.log_of(transfer("0xc0000000", "0x00000000")).size(), 2u);
}

TEST(CardMemory, EveryFaultEndsInOneLineAndAFailure) {
  const struct {
    const char* what;
    const char* card;
    const char* line;
  } cases[] = {
      {"no list", R"({"faults": {"configuration": {"capability_pointer": 0}}})", "cap_id_addr invalid\n"},
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
    EXPECT_THAT(result.out, StartsWith(std::string(c.line) + "REG_READ_32 failed!\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("version id")));
  }
}

TEST(CardMemory, AWordOfAllOnesIsNoFailure) {
  session::expect_shows(R"({"queue_engine": {"version": "0xffffffff"}})", "kxvqm ",
                        {{"glb version", "[vqm version]\n  version id                  : 0xffffffff\n"}});
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
  const auto result =
      run(script("$KXTOOL bind 0000:3b:00.0 kxvqm vf all > /dev/null & sleep 0.3; kill -9 $!; wait; "
                 "exec $KXTOOL bind 0000:3b:00.0 kxvqm vf 3",
                 R"({"faults": {"tunnel": {"transfers": [{"from": 30, "count": 1, "delay_ms": 400}]}},
          "queue_engine": {"vfs": {"3": {"send_packets": 1, "send_bytes": 2, "receive_packets": 3,
                                         "receive_bytes": 4, "drops": 5}}}})"));
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(plain(result.out),
            "vf[3]\n  send pkt : \t1\n  send byte: \t2\n  receive pkt : 3\n  receive byte: 4\n  drop pkt cnt: 5\n");
}

TEST(CardMemory, ToolsAtTheSameTimeDoNotMixTheirWords) {
  const auto result =
      run(script("cd \"${TMPDIR:-/tmp}\"; tool=\"$KXTOOL bind 0000:3b:00.0\"; "
                 "for i in 1 2 3 4; do $tool kxbttl dxge 1 dump 0 3 > a.$$; done & "
                 "for i in 1 2 3 4; do $tool kxvqm vf 3 > b.$$ || exit 1; cat b.$$; done; wait; rm -f a.$$ b.$$",
                 R"({"queue_engine": {"vfs": {"3": {"send_packets": "0x1122334455667788"}}}})"));
  EXPECT_EQ(result.status, 0);
  const std::string once =
      "vf[3]\n  send pkt : \t1234605616436508552\n  send byte: \t0\n  receive pkt : 0\n  receive byte: 0\n"
      "  drop pkt cnt: 0\n";
  EXPECT_EQ(plain(result.out), once + once + once + once);
}

}  // namespace
