// What the commands of kxvqm print of the queue engine, and what they do to it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/session.h"

namespace {

using namespace kx_system;

using session::plain;

constexpr const char* CARD = R"({"queue_engine": {"date": "0x20240117", "vfs": {
    "0": {"send_packets": "0xffffffffffffffff"},
    "1192": {"send_packets": 1, "send_bytes": 2, "receive_packets": 3, "receive_bytes": "0x100000004",
             "drops": 4294967295}}}})";

TEST(Vqm, PrintsVersionAndDateInColour) {
  const auto session = session::run(CARD, {"kxvqm glb version", "kxvqm glb date"});
  EXPECT_EQ(session.outputs[0],
            "\033[1;36m[vqm version]\033[0m\n\033[0;33m  version id                  \033[0m: 0x20250129\n");
  EXPECT_EQ(session.outputs[1],
            "\033[1;36m[vqm date]\033[0m\n\033[0;33m  month day                   \033[0m: 0x117\n"
            "\033[0;33m  year                        \033[0m: 0x2024\n");
  // Nothing but the version at the bind, then one read each.
  EXPECT_THAT(session.result.log_of("card_"), ElementsAre("card_read address=0x6208000000 value=0x20250129",
                                                          "card_read address=0x6208000000 value=0x20250129",
                                                          "card_read address=0x6208000004 value=0x20240117"));
}

TEST(Vqm, PrintsTheCountersOfAFunction) {
  const std::string shown =
      "\033[1;36mvf[1192]\n\033[0m\033[0;33m  send pkt \033[0m: \t1\n\033[0;33m  send byte\033[0m: \t2\n"
      "\033[0;33m  receive pkt \033[0m: 3\n\033[0;33m  receive byte\033[0m: 4294967300\n"
      "\033[0;33m  drop pkt cnt\033[0m: 4294967295\n";
  EXPECT_EQ(session::run(CARD, {"kxvqm vf 1192"}).outputs[0], shown);
  const std::string help = "vf" + std::string(63, ' ') + "vf port stat info by vf_id  + [vfid]\n";
  const std::vector<session::Row> rows = {
      {"vf 0x4a8", plain(shown)},
      {"vf 02250", plain(shown)},
      {"cnt vf 1192", plain(shown)},
      {"vf 0", HasSubstr("\t18446744073709551615\n")},
      {"vf 1193", "kx_vqm Error: para[1193] out of range [0, 1192].\n" + help},
      {"vf -1", "kx_vqm Error: para[-1] out of range [0, 1192].\n" + help},
      {"vf 3x", "kx_vqm Error: para[3x] illegal.\n" + help},
      {"vf", "kx_vqm Error: num of parameters is too less.\n" + help},
      {"vf 1 2", "kx_vqm Error: num of parameters is too much.\n" + help},
      {"cnt vf", StartsWith("kx_vqm Error: num of parameters is too less.\ncnt ")},
      {"cnt vf 1193", HasSubstr("\ncnt qp ")},
  };
  session::expect_shows(CARD, "kxvqm ", rows);
}

TEST(Vqm, PrintsAllFunctions) {
  const auto result = session::one_shot(CARD, "kxvqm vf all");
  EXPECT_EQ(result.status, 0);
  const std::string out = plain(result.out);
  EXPECT_THAT(out, StartsWith("vf[0]\n"));
  EXPECT_EQ(std::count(out.begin(), out.end(), '['), 1193);
  EXPECT_THAT(out, EndsWith("vf[1192]\n  send pkt : \t1\n  send byte: \t2\n  receive pkt : 3\n"
                            "  receive byte: 4294967300\n  drop pkt cnt: 4294967295\n"));
}

// The same command in both register layouts, with the address that the card sees.
TEST(Vqm, ChoosesTheLayoutByTheVersion) {
  struct {
    const char* card;
    const char* rdesc;
    const char* mac;
  } cases[] = {
      {"{}", "0x6208012014", "0x6209003100"},
      {R"({"queue_engine": {"version": "0x20250128"}})", "0x6208002014", "0x6209001900"},
  };
  for (const auto& c : cases) {
    const auto session =
        session::run(c.card, {"kxvqm rdesc desc_alarm_mask 5", "kxvqm host device_mac 3 0x33221100 0x5544"}, true);
    EXPECT_THAT(session.result.log_of("card_write"),
                ElementsAre(std::string("card_write address=") + c.rdesc + " value=0x00000005",
                            std::string("card_write address=") + c.mac + " value=0x33221100", testing::_));
    EXPECT_EQ(plain(session.outputs[0]),
              "[descriptor alarm mask]\n  length                      : 0x1\n  chain                       : 0x0\n"
              "  address                     : 0x1\n  index                       : 0x0\n");
    EXPECT_THAT(plain(session.outputs[1]), HasSubstr("[mac bytes 4 to 5]\n  byte 4                      : 0x44\n"));
  }
}

// A version that cannot be read is none: what the card before had says nothing of this one.
TEST(Vqm, AFailedBindKeepsNoLayout) {
  const auto result =
      run({.card = R"({"faults": {"tunnel": {"transfers": [{"from": 2, "count": 1, "flag_stuck": true}]}}})",
           .input = "0\nsbdf\n0\nkxvqm qfc sys_clk\nquit\n"});
  EXPECT_THAT(result.out, HasSubstr("\nREG_READ_32 failed!\n"));
  EXPECT_THAT(result.log_of("card_read"), Contains("card_read address=0x6208004008 value=0x00000000"));
}

// A 16-bit register leaves the other half of its word alone; a 64-bit register is written low word first.
TEST(Vqm, WritesRegistersOfEveryWidth) {
  const auto session = session::run(
      R"({"memory": {"0x6209000104": "0xaaaabbbb"}})",
      {"kxvqm host device_state 0 1", "kxvqm host device_mac 0 0 0x2211", "kxvqm glb cq_addr 0xf23456789abcdef0"},
      true);
  EXPECT_THAT(session.result.log_of("card_write"), ElementsAre("card_write address=0x6209000104 value=0x0001bbbb",
                                                               "card_write address=0x6209000100 value=0x00000000",
                                                               "card_write address=0x6209000104 value=0x00012211",
                                                               "card_write address=0x6208000080 value=0x9abcdef0",
                                                               "card_write address=0x6208000084 value=0xf2345678"));
  EXPECT_EQ(plain(session.outputs[2]), "[cq base address]\n  cq base address             : 0xf23456789abcdef0\n");
}

TEST(Vqm, WritesNothingWhenAWordIsWrong) {
  const auto session = session::run("{}",
                                    {"kxvqm trpg pktgen 64 100 0 x", "kxvqm trpg pktgen 64 100 0",
                                     "kxvqm host device_mac 0 1 0x10000", "kxvqm host queue_ring_addr 1193 1 1 1"},
                                    true);
  EXPECT_THAT(session.result.log_of("card_write"), IsEmpty());
  EXPECT_THAT(session.outputs[1], StartsWith("kx_vqm Error: num of parameters is too less.\n"));
  EXPECT_THAT(session.outputs[2], StartsWith("kx_vqm Error: para[65536] out of range [0, 65535].\n"));
}

TEST(Vqm, TheEngineReacts) {
  const std::vector<session::Row> rows = {
      {"check_vqm", EndsWith("vqm check failed: 1 register reports errors\n")},
      {"rdesc cnt_clear", "rdesc counter clear done\n"},
      {"check_vqm", "vqm check ok\n"},
      {"glb int_test 0x81", testing::_},
      {"glb int_st", HasSubstr("  axim                        : 0x1\n")},
      {"trpg pktgen 64 100 0 1", testing::_},
      {"trpg tx",
       "[packets sent]\n  packets sent                : 0x64\n"
       "[bytes sent]\n  bytes sent                  : 0x1900\n"},
      {"trpg txclr", testing::_},
      {"tx", StartsWith("[packets sent]\n  packets sent                : 0x0\n")},
      {"host device_feature_sel 7 1", testing::_},
      {"host device_feature 7", "[device feature]\n  device feature              : 0x1\n"},
      {"idtrans_sel 0x3005", HasSubstr("  pcie function               : 0xd\n  queue base                  : 0x6\n")},
  };
  session::expect_shows(R"({"memory": {"0x6208012038": 9}})", "kxvqm ", rows, true);
}

TEST(Vqm, ALiveDeviceIsNeededForRegistersAndMessagesOnly) {
  const auto result =
      run({.input = "q\nkxvqm glb\nkxvqm glb version\nsu opsu\nkxvqm barchan send_ovs_msg 39 0\nquit\n"});
  EXPECT_THAT(result.out, HasSubstr("glb date"));
  EXPECT_THAT(result.out, EndsWith("\nIt does not bind to any pcie device,Please bind kx device!\n"));
  EXPECT_THAT(plain(result.out),
              HasSubstr("It does not bind to any pcie device,Please bind kx device!\nread_val_from_kx failed!\n"
                        "[vqm version]\n  version id                  : 0xffffffff\n"));
}

}  // namespace
