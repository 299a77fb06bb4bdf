// diag, stat, regsdump and devmem as an operator meets them.
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "line_numbers.h"
#include "system/session.h"

namespace {

using namespace kx_system;

Result tool(const std::string& card, const std::string& words) {
  return run({.card = card, .words = words_of(words)});
}

/// What one line in the shell of a super user prints.
std::string super(const std::string& card, const std::string& line) {
  return without_line_numbers(session::line_run(card, line));
}

TEST(Diag, AHealthyCardPasses) {
  const Result result = tool("{}", "diag eth0 all");
  EXPECT_EQ(result.status, 0) << result.out;
  EXPECT_THAT(result.out, AllOf(StartsWith("vqm: virtio queue engine\n"), HasSubstr("\npcie: 6 checks, 0 failed\n"),
                                HasSubstr("x16 at 16.0 GT/s of x16 at 16.0 GT/s"), HasSubstr("np_init_done"),
                                HasSubstr("pcsmac: network ports, as the port block (trpg) tells\n"),
                                Not(HasSubstr("FAIL")), HasSubstr("trpg_port_int_status[26]"),
                                Not(HasSubstr("trpg_port_int_status[27]")), EndsWith("\ndiag eth0: ok\n")));
}

TEST(Diag, NamesWhatIsNotAsItShouldBe) {
  const struct {
    const char* card;
    const char* unit;
    const char* line;
  } ills[] = {
      {R"({"memory": {"0x6208000020": 5}})", "vqm",
       "FAIL  cq int event                     0x00000005  cq full, cq write error\n"},
      {R"({"network_processor": {"registers": {"0x013000": 3}}})", "np",
       "FAIL  pktrx_int_status                 0x00000003  table_ecc, len_err\n"},
      {R"({"network_processor": {"registers": {"0x242004": 0}}})", "np",
       "FAIL  car_init_done                    0x00000000  not ready: init_done\n"},
      {R"({"network_processor": {"registers": {"0x403800": 4}}})", "pcsmac",
       "FAIL  trpg_port_int_status[3]          0x00000004  rx_ovf\n"},
      {R"({"functions": {"0000:3b:00.0": {"config": {"0x72": "8310"}}}})", "pcie",
       "FAIL  link                             0x00001083  x8 at 8.0 GT/s of x16 at 16.0 GT/s\n"},
      {R"({"functions": {"0000:3b:00.0": {"config": {"0x104": "00400400"}}}})", "pcie",
       "FAIL  uncorrectable errors             0x00044000  Completion Timeout, Malformed TLP\n"},
      {R"({"functions": {"0000:3b:00.0": {"config": {"0x104": "00000004"}}}})", "pcie",
       "FAIL  uncorrectable errors             0x04000000  Poisoned TLP Egress Blocked\n"},
      {R"({"functions": {"0000:3b:00.0": {"config": {"0x6a": "0400"}}}})", "pcie",
       "FAIL  device status                    0x00000004  Fatal Error Detected\n"},
      {R"({"functions": {"0000:3b:00.0": {"config": {"4": "0200"}}}})", "pcie",
       "FAIL  command                          0x00000002  memory or bus master off\n"},
  };
  for (const auto& ill : ills) {
    const Result result = tool(ill.card, std::string("diag eth0 ") + ill.unit);
    EXPECT_EQ(result.status, 1) << ill.card;
    EXPECT_THAT(result.out, AllOf(HasSubstr(ill.line), EndsWith(std::string("diag eth0: failed: ") + ill.unit + "\n")));
  }
  // Told, but no failure: a port without cable, errors that the link repaired, errors that are masked.
  const Result well = tool(R"({"network_processor": {"ports": {"2": {"link_up": false}}},
                               "functions": {"0000:3b:00.0": {"config": {"0x110": "41", "0x6a": "09",
                                                                         "0x104": "0000 1000", "0x108": "0000 1000"}}}})",
                           "diag eth0 all");
  EXPECT_EQ(well.status, 0);
  EXPECT_THAT(
      well.out,
      AllOf(HasSubstr("trpg_port_status_info[2]         0x00000000  link down\n"),
            HasSubstr("ok    correctable errors               0x00000041  Receiver Error, Bad TLP\n"),
            HasSubstr("ok    device status                    0x00000009  Correctable Error Detected, Unsupported "
                      "Request Detected\n"),
            HasSubstr("ok    uncorrectable errors             0x00100000  Unsupported Request Error\n")));
}

TEST(Diag, ACardThatDoesNotAnswerCostsOneTimeOutAUnit) {
  const Result result = tool(R"({"faults": {"tunnel": {"transfers": [{"flag_stuck": true}]}}})", "diag eth0 all");
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.out,
              AllOf(HasSubstr("vqm: not finished, the card cannot be read\n"), HasSubstr("pcie: 6 checks, 0 failed\n"),
                    HasSubstr("np: not finished"), EndsWith("diag eth0: failed: vqm np pcsmac\n")));
}

TEST(Diag, AnInterruptEndsIt) {
  Process process(
      {.card = R"({"faults": {"tunnel": {"transfers": [{"delay_ms": 20}]}}})", .words = {"diag", "eth0", "all"}});
  ASSERT_TRUE(process.expect("int status"));
  const std::vector<pid_t> tools = process.tools();
  ASSERT_EQ(tools.size(), 2u);
  kill(tools[1], SIGINT);
  const Result result = process.wait();
  EXPECT_EQ(result.status, 130);
  EXPECT_THAT(result.out, EndsWith("diag eth0: interrupted\n"));
}

TEST(Stat, ShowsTheCountersThatMoved) {
  const Result result = tool(R"({"network_processor": {"ports": {"3": {"receive_packets": 123456789012,
                                 "send_packets": 7, "link_up": false}}},
                                 "memory": {"0x6208015060": 9}})",
                             "stat eth0 all");
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out,
              AllOf(HasSubstr("trpg_rx_port_pkt_num[3]                      123456789012\n"),
                    HasSubstr("trpg_tx_port_pkt_num[3]                      7\n"),
                    HasSubstr("discarded without buffer                     9\n"),
                    Not(HasSubstr("trpg_rx_port_pkt_num[4]")), Not(HasSubstr("pcie")), EndsWith("stat eth0: ok\n")));
}

TEST(DiagAndStat, RefuseOtherWords) {
  for (const char* line : {"diag eth0", "diag eth0 ALL", "diag eth0 vqm np", "diag eth0 ../np", "stat eth0 pcie",
                           "stat eth0 all all", "stat eth0 %s%n"}) {
    const Result result = tool("{}", line);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, StartsWith("    COMMAND:\n        " + std::string(line, 4) + "\n"));
    EXPECT_TRUE(result.log_of("tunnel ").empty());
  }
}

TEST(Devmem, ShowsAndWritesWords) {
  const auto usage = StartsWith("    COMMAND:\n        regsmem|devmem\n");
  const std::vector<session::Row> rows = {
      {"devmem eth0 vqm addr 0x40", "0x6208000040: 11111111\n"},
      {"regsmem eth0 vqm 64 len 20", "0x6208000040: 11111111 22222222 00000000 00000000\n0x6208000050: 00000000\n"},
      {"devmem eth0 pcsmac addr 0x18", "0x6218400018: 00000006\n"},
      {"devmem eth0 pcie addr 0x4000", "0x8800000000: 80371cf2\n"},
      {"devmem eth0 vqm addr 0x30 val 5", "0x6208000030: wrote 00000005\n"},
      {"devmem eth0 vqm addr 0x34 val 5 --verify", "0x6208000034: wrote 00000005, reads 00000005\n"},
      {"devmem eth0 np addr 0x2", EndsWith("] address 0x2 is not a multiple of 4\n")},
      {"devmem eth0 pcie addr 0x5000", EndsWith("] 0x5000 is no address of pcie, which has some from 0x0 to 0x4fff\n")},
      {"devmem eth0", usage},
      {"devmem eth0 all addr 0", usage},
  };
  const auto session = session::expect_shows(
      R"({"memory": {"0x6208000040": "0x11111111", "0x6208000044": "0x22222222"},
          "network_processor": {"registers": {"0x400018": 6}}})",
      "kxtool ", rows, true);
  EXPECT_THAT(session.result.log_of("card_write"), ElementsAre("card_write address=0x6208000030 value=0x00000005",
                                                               "card_write address=0x6208000034 value=0x00000005"));
  // Without --verify nothing is read: a read may clear.
  EXPECT_TRUE(session.result.log_of("card_read address=0x6208000030").empty());
  EXPECT_EQ(session.result.log_of("card_read address=0x6208000034").size(), 1u);
  EXPECT_THAT(super(R"({"faults": {"tunnel": {"transfers": [{"from": 2, "flag_stuck": true}]}}})",
                    "kxtool devmem eth0 np addr 0"),
              EndsWith("card address 0x6218000000 cannot be read\n"));
  EXPECT_EQ(tool("{}", "devmem eth0 np addr 0").out, "kxtool devmem eth0 np addr 0: No execution permission!\n");
}

// The version of the queue engine cannot be written.
TEST(Devmem, SaysWhenTheCardDoesNotHoldWhatWasWritten) {
  const Result result = run({.input = "0\nsu opsu\nkxtool devmem eth0 vqm addr 0 val 1 --verify\nquit\n"});
  EXPECT_THAT(result.out, EndsWith("\n0x6208000000: wrote 00000001, reads 20250129\n"));
  EXPECT_EQ(result.err, "kxtool: devmem: card address 0x6208000000 does not hold what was written\n");
  EXPECT_EQ(result.status, 1);
}

TEST(Regsdump, WritesEveryDescribedRegister) {
  const Folder folder;
  const std::string path = folder.path() + "/regs.txt";
  EXPECT_THAT(super(R"({"memory": {"0x6208000020": 5}})", "kxtool regsdump eth0 all --file " + path),
              AllOf(HasSubstr(" values written to " + path + "\n"), Not(HasSubstr("\r"))));
  const std::string text = Folder::read(path);
  EXPECT_THAT(text, AllOf(StartsWith("# registers of eth0 (0000:3b:00.0), "),
                          HasSubstr("\nvqm 0x6208000020 0x00000005 glb.cq_int_event: cq int event\n"),
                          HasSubstr("\npcie 0x0000000000 0x80371cf2 configuration 0x000\n"),
                          HasSubstr("\nnp 0x6218002080 0x00000fff np_init_done\n"),
                          HasSubstr("\npcsmac 0x621841e018 0x00000004 trpg_port_speed[30]\n"), HasSubstr("\n# end: ")));
  EXPECT_EQ(folder.entries(), 1u);
}

TEST(Regsdump, LeavesNothingHalf) {
  const Folder folder;
  const std::string victim = folder.write("victim", "precious");
  const std::string link = folder.path() + "/link";
  ASSERT_EQ(symlink(victim.c_str(), link.c_str()), 0);
  EXPECT_EQ(super("{}", "kxtool regsdump eth0 all --file " + link),
            "kxtools_err: [kxtool_regsdump][#] cannot make " + link + ": File exists\n");
  EXPECT_THAT(super(R"({"faults": {"tunnel": {"transfers": [{"from": 100, "flag_stuck": true}]}}})",
                    "kxtool regsdump eth0 all --file " + victim),
              EndsWith("vqm cannot be read, nothing is kept\n"));
  EXPECT_EQ(Folder::read(victim), "precious");
  EXPECT_EQ(folder.entries(), 2u);
}

TEST(Regsdump, DrawsABarOnATerminalAndStopsAtAnInterrupt) {
  const Folder folder;
  Process process({.card = "{}", .terminal = true, .columns = 30});
  process.send("0\rsu opsu\rkxtool regsdump eth0 all --file " + folder.path() + "/regs\r");
  EXPECT_TRUE(process.expect("regsdump [#            ]"));  // as wide as the terminal lets it be
  process.send("\x03");
  EXPECT_TRUE(process.expect("interrupted, nothing is kept"));
  EXPECT_TRUE(process.expect("]#"));
  process.send("quit\r");
  EXPECT_EQ(process.wait().status, 130);
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

}  // namespace
