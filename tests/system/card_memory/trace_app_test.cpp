// kxtrace_app: words, traffic generators, rates.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/session.h"

namespace {

using namespace kx_system;

using session::plain;

TEST(TraceApp, WordsDecide) {
  const std::vector<session::Row> rows = {
      {"trace", "too few paras!.\ntrace cmd usage.\n"},
      {"vqm", "too few paras!.\ntrace cmd usage.\n"},
      {"trace rubbish", "trace cmd usage.\n"},
      {"trace help", "trace app cmd usage:\ncnt: show the pkt num\nstatus: show the trpg status\n"},
      {"trace version",
       "=========================================================================\n"
       "|                        kxtool maintainers                             |\n"
       "|                            Trace App                                  |\n"
       "|                         V2.0 (2024-11-28)                             |\n"
       "=========================================================================\n"},
      {"vqm rate", "trace cmd usage.\n"},
      {"dtp rate", "trace cmd usage.\n"},
      {"np rate", "trace cmd usage.\n"},
      {"np st", "trace cmd usage.\n"},
      {"vqm rate 1 x", "trace cmd usage.\n"},
      {"vqm rate 1 2 3", "trace cmd usage.\n"},
      {"vqm rate 1 1192", "invalid vfid, vfid: 1192\n"},
      {"vqm rate 1 4294967303", "invalid vfid, vfid: 4294967295\n"},
      {"dtp rate 1 4", "invalid portid, portid: 4\n"},
      {"np rate 1 16", "invalid portid, portid: 16\n"},
      {"trace cmd", MatchesRegex("### The Bar Addr: 0x[0-9a-f]+ ###\n### Trace App Cmdline Test ###\n")},
  };
  session::expect_shows("{}", "kxtrace_app ", rows);
}

TEST(TraceApp, ShowsGeneratorsPathByPath) {
  const auto session = session::run(
      R"({"traffic": {"generators": {
            "vqm": {"2": {"running": true, "queue_level": 17, "send_packets": "0x200000001"}},
            "np": {"4": {"fault": true, "errors": 3, "receive_packets": 8}}}}})",
      {"kxtrace_app trace st", "kxtrace_app trace status", "kxtrace_app trace cnt", "kxtrace_app trace pkt"});
  const auto generator = [](int number, int running, int fault, int level, int errors) {
    const auto line = [](const char* name, int value) {
      return "  " + std::string(name) + std::string(20 - strlen(name), ' ') + ": " + std::to_string(value) + "\n";
    };
    return "trpg " + std::to_string(number) + "\n" + line("running", running) + line("link", 1) + line("fault", fault) +
           line("queue level", level) + line("trpg errors", errors);
  };
  const std::string separator = "\033[34m-------------------\033[0m\n";
  const std::string status = "[vqm trpg status]:\n" + generator(1, 0, 0, 0, 0) + generator(2, 1, 0, 17, 0) +
                             generator(3, 0, 0, 0, 0) + separator + "[dtp trpg status]:\n" + generator(1, 0, 0, 0, 0) +
                             generator(4, 0, 0, 0, 0) + separator + "[np trpg status]:\n" + generator(2, 0, 0, 0, 0) +
                             generator(3, 0, 0, 0, 0) + generator(4, 0, 1, 0, 3) + separator;
  EXPECT_EQ(session.outputs[0], status);
  EXPECT_EQ(session.outputs[1], status);
  EXPECT_THAT(session.outputs[2], HasSubstr("trpg 2\n  send pkt            : 8589934593\n"));
  EXPECT_THAT(session.outputs[2], HasSubstr("trpg 4\n  send pkt            : 0\n  receive pkt         : 8\n"));
  EXPECT_EQ(session.outputs[3], session.outputs[2]);
}

struct rates {
  unsigned long long tx_packets, tx_bits, rx_packets, rx_bits;
};

rates read_rates(const std::string& out) {
  rates r = {};
  const std::string text = plain(out);
  EXPECT_EQ(sscanf(text.c_str() + std::min(text.find('\n') + 1, text.size()),
                   "[catch: 0] tx: %llu pps, %llu bps; rx: %llu pps, %llu bps", &r.tx_packets, &r.tx_bits,
                   &r.rx_packets, &r.rx_bits),
            4)
      << text;
  return r;
}

// The counters pass 2^32 during the measurement: their halves must fit together.
TEST(TraceApp, MeasuresTheRatesThatTheCardHas) {
  const char* flow = R"({"send_packets": "0xffff8000", "send_packet_rate": 1000000,
                         "send_byte_rate": 64000000, "receive_packet_rate": 250000, "receive_byte_rate": 375000000})";
  const std::string card = std::string(R"({"queue_engine": {"vfs": {"7": )") + flow +
                           R"(}}, "traffic": {"dtp": {"3": )" + flow + R"(}, "np": {"0": )" + flow + "}}}";
  const auto session =
      session::run(card, {"kxtrace_app vqm rate 1 7", "kxtrace_app dtp rate 1 3", "kxtrace_app np rate 1"});
  const char* headings[] = {"[\033[32mvqm rate\033[0m]: vfid: 7\n[\033[33mcatch: 0\033[0m] tx: ",
                            "[\033[32mdtp rate\033[0m]: portid: 3\n", "[\033[32mnp rate\033[0m]: portid: 0\n"};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_THAT(session.outputs[i], StartsWith(headings[i]));
    const rates r = read_rates(session.outputs[i]);
    // A busy machine delays single reads; a wrong half, unit or second is off by more.
    const auto within = [](double rate) { return AllOf(testing::Ge(rate * 0.8), testing::Le(rate * 1.25)); };
    EXPECT_THAT(static_cast<double>(r.tx_packets), within(1000000));
    EXPECT_THAT(static_cast<double>(r.tx_bits), within(64000000.0 * 8));
    EXPECT_THAT(static_cast<double>(r.rx_packets), within(250000));
    EXPECT_THAT(static_cast<double>(r.rx_bits), within(375000000.0 * 8));
  }
}

TEST(TraceApp, FailsWithALineWhenTheCardDoes) {
  session::expect_shows(
      R"({"faults": {"tunnel": {"transfers": [{"from": 2, "flag_stuck": true}]}}})", "kxtrace_app ",
      {{"trace st", "wait time: 200 ms, VPD timeout!!!\nread trace reg 0x6214000140 failed!\n"},
       {"vqm rate 1 0",
        "[vqm rate]: vfid: 0\nwait time: 200 ms, VPD timeout!!!\nread trace reg 0x6208410000 failed!\n"}});
}

}  // namespace
