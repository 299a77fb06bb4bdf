// kxbttl: words, registers, counters.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/session.h"

namespace {

using namespace kx_system;

TEST(Bttl, WordsDecide) {
  struct {
    const char* line;
    const char* starts;
    bool fails;
  } const cases[] = {
      {"dxge 1", "kxtools_err: [kxbttl_exec][", true},
      {"bman 2 stat x",
       "[dtp] Not support input parameter = 2\n[dtp] cmd module id 2, not support!\nkxbttl bman 2 stat x: Command exec "
       "failed!\n",
       true},
      {"dxge 01 dump 0 3", "[dtp] Not support input parameter = 01\n", true},
      {"qman 1 que 5",
       "func name = que, module name = qman\ninvalid param num argc = 3, para_num = 2\ninput para num invalid = 3!\n",
       true},
      {"dxge 1 dump 0", "func name = dump, module name = dxge\ninvalid param num argc = 3, para_num = 4\n", true},
      {"dxge 1 dump 0 3 1", "func name = dump, module name = dxge\ninvalid param num argc = 5, para_num = 4\n", true},
      {"dxge 1 dump 1g 1", "kxtools_err: para[1g] strtoul failed!\n", true},
      {"dxge 1 dump 1 100000000", "kxtools_err: para[100000000] strtoul failed!\n", true},
      {"dxge 1 dump -1 1", "kxtools_err: para[-1] strtoul failed!\n", true},
      {"dxge 1 que", "module func not match \n", true},
      {"lro 1 rubbish zz", "kxtools_err: para[zz] strtoul failed!\n", true},
      {"dxge 1 dump 2 1", "invalid np vqm module [0-1]!\ndxge_port_txrx_get failed\n", false},
      {"dxge 1 debug 0 0", "dxge module to NP\ninvalid dxge tx rx port [1-3]!\ndxge_port_txrx_get failed\n", false},
      {"dxge 1 cfg 1 4", "dxge module to VQM\ninvalid dxge tx rx port [1-3]!\n", false},
      {"dxge 1 rx_debug 0 2", "dxge module to NP\ndxge rx_debug needs the rx port!\n", false},
      {"dxge 1 dump 0x1 1",
       "dxge module to VQM\n============Now read dxge rx reg============\n0000 rx enable                           "
       ":0x1\n",
       false},
      {"dxge 1 cfg 0 2", "dxge module to NP\n============Now read dxge tx cfg============\n", false},
      {"dxge 1 press 0 1", "dxge module to NP\n============Now read dxge rx press============\n", false},
      {"qman 1 que", "============Now read qman que============\n0080 queues enabled ", false},
      {"qman 1 stat 1 2", "============Now read qman stat of queue 0x1============\n1020 queue state ", false},
      {"qman 1 stat 2 1", "invalid qman queue [0-0xff]!\n", false},
      {"qman 1 stat 0 100", "invalid qman queue [0-0xff]!\n", false},
      {"qman 1 cfg", "============Now read qman cfg============\n0000 queue enable ", false},
      {"bman 1 stat 3", "============Now read bman stat of pool 3============\n01c0 pool total ", false},
      {"bman 1 stat 4", "invalid bman pool [0-3]!\n", false},
      {"bman 1 cfg", "============Now read bman cfg============\n0000 pool enable ", false},
      {"lro 1 cfg", "============Now read lro cfg============\n0000 lro enable ", false},
  };
  std::vector<session::Row> rows = {{"dxge", HasSubstr(" too few paras\n")}};
  for (const auto& c : cases) {
    const auto failed = HasSubstr("Command exec failed!");
    rows.push_back({c.line, AllOf(StartsWith(c.starts), testing::Conditional(c.fails, failed, Not(failed)))});
  }
  session::expect_shows("{}", "kxbttl ", rows);
}

TEST(Bttl, DumpsBothSidesOfTheInstanceAsked) {
  const auto result = session::one_shot("{}", "kxbttl dxge 1 dump 0 3");
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("============Now read dxge rx reg============\n"));
  EXPECT_THAT(result.out, HasSubstr("============Now read dxge tx reg============\n"));
  EXPECT_THAT(result.out, HasSubstr("\n0008 tx mtu default                      :0x5dc\n"));
  for (const std::string& line : result.log_of("card_read")) {
    EXPECT_THAT(line, AnyOf(StartsWith("card_read address=0x62115"), StartsWith("card_read address=0x62116"),
                            StartsWith("card_read address=0x6208000000")));
  }
}

TEST(Bttl, PrintsTheAnomalyCountersInOrder) {
  const auto result = session::one_shot(
      R"({"packet_engine": {"dxge_to_queue_engine": {
            "send_errors": [1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 4294967295],
            "receive_errors": [21, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32]}}})",
      "kxbttl dxge 1 debug 1 3");
  EXPECT_THAT(result.out, StartsWith("dxge module to VQM\n======Debug printf anomaly statistics======\n"
                                     "dxge rx trpg interface err cnt is       -->0x15\n"));
  EXPECT_THAT(result.out, EndsWith("======Debug printf anomaly statistics======\n"
                                   "dxge tx pcode err cnt is                -->0x1\n"
                                   "dxge tx pkt len error is                -->0x2\n"
                                   "dxge tx bb num len error is             -->0x3\n"
                                   "dxge tx ip discard pkt cnt is           -->0x4\n"
                                   "dxge tx pkt head len error cnt is       -->0x5\n"
                                   "dxge tx ip reserve pkt cnt is           -->0x6\n"
                                   "dxge tx mtu default err cnt is          -->0x7\n"
                                   "dxge tx mtu too short cnt is            -->0x8\n"
                                   "dxge tx ip head len err cnt is          -->0x9\n"
                                   "dxge tx bb len error cnt is             -->0xa\n"
                                   "dxge tx tcp chain lastbb payload zero   -->0xb\n"
                                   "dxge tx tcp chain len error is          -->0xc\n"
                                   "dxge tx udp len error cnt is            -->0xd\n"
                                   "dxge tx pdid invalid is                 -->0xe\n"
                                   "dxge tx dma int error pd cnt is         -->0xf\n"
                                   "dxge tx dma int error bb cnt is         -->0xffffffff\n"));
}

TEST(Bttl, DecodesTheReceiveErrorCode) {
  auto result = session::one_shot(R"({"packet_engine": {"dxge_to_np": {"receive_error_code": "0xf881"}}})",
                                  "kxbttl dxge 1 rx_debug 0 1");
  const std::string normal = "dxge errcode check normal\n";
  EXPECT_THAT(result.out, EndsWith("dxge errcode value is 0xf881\n"
                                   "dxge errcode check --->The error signal of the trpg interface is 1!!!\n" +
                                   normal + normal + normal + normal + normal + normal +
                                   "dxge errcode check --->The TCP header length valid!!!\n" + normal + normal +
                                   normal + "dxge errcode check --->The udp packet length is abnormal!!!\n"));
  result = session::one_shot("{}", "kxbttl dxge 1 rx_debug 0 3");
  EXPECT_THAT(result.out, EndsWith("dxge errcode value is 0x0\ndxge errcode check succ!!!\n"));
}

TEST(Bttl, StopsAtTheFirstRegisterThatCannotBeRead) {
  const auto result = session::one_shot(R"({"faults": {"tunnel": {"transfers": [{"from": 6, "flag_stuck": true}]}}})",
                                        "kxbttl dxge 1 dump 0 3");
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, EndsWith("0004 rx port mode                        :0x0\n"
                                   "wait time: 200 ms, VPD timeout!!!\n"
                                   "[dtp] read reg 0x6211500008 failed!\n"));
}

}  // namespace
