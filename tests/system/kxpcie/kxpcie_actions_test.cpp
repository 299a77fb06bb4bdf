// kxpcie: commands that change something, and how they give it back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "system/session.h"

namespace {

using namespace kx_system;

TEST(KxpcieWrites, SayWhatWasWritten) {
  const std::vector<session::Row> rows = {
      {"devmem_write 0x6310000010 0xAB", "0x6310000010: 0x000000ab written under mask 0xffffffff\n"},
      {"devmem_write 0x6310000010 0xFF00 0xF000", "0x6310000010: 0x0000ff00 written under mask 0x0000f000\n"},
      {"csr_read 0 0x10", "0x0000000010: 0x0000f0ab\n"},
      {"cfg_write 0x3c 0x5 1", "0x03c: was 0x00, 0x05 written, reads 0x05\n"},
      {"bar_write 0 0x20000 0x1234", "BAR 0 0x00020000: 0x00001234 written\n"},
      {"bar_read 0 0x20000", "BAR 0 0x00020000: 0x00001234\n"},
      {"tunnel_mode secure 1", testing::_},
      {"devmem 0x6310000010", "0x6310000010: 0x0000f0ab\n"},
      {"tunnel_mode", "access mode 0 (addresses are checked)\nsecure mode on\n"},
      {"devmem_write 0x6310000010 0x55 0xff --verify",
       "0x6310000010: 0x00000055 written under mask 0x000000ff, reads 0x0000f055\n"},
      {"bar_write 0 0x20000 0x4321 --verify", "BAR 0 0x00020000: 0x00004321 written, reads 0x00004321\n"},
  };
  session::expect_shows("{}", "kxpcie ", rows, true);
}

TEST(KxpcieErrors, AreClearedAndMasksStay) {
  session::expect_shows(
      R"({"functions": {"0000:3b:00.0": {
          "uncorrectable_errors": "0x00104000", "correctable_errors": "0x40", "device_errors": 9}}})",
      "kxpcie ",
      {{"aer_clear",
        "uncorrectable error status: was 0x00104000, reads 0x00000000\n"
        "correctable error status: was 0x00000040, reads 0x00000000\n"
        "device error status: was 0x0009, reads 0x0000\n"},
       {"aer_dump", StartsWith("uncorrectable errors: status 0x00000000, mask 0x00400000, severity 0x00463030\n  none\n"
                               "correctable errors: status 0x00000000, mask 0x00006000\n  none\n")},
       {"aer_clear", HasSubstr("correctable error status: was 0x00000000, reads 0x00000000\n")}},
      true);
}

TEST(KxpcieRetrain, GoesThroughThePortAbove) {
  const auto session = session::expect_shows(
      R"({"link": {"speed": 1, "width": 2, "retrain_speed": 3, "retrain_width": 8}})", "kxpcie ",
      {{"retrain", "port 0000:3a:00.0: link at 2.5 GT/s x2 trains anew\nport 0000:3a:00.0: link at 8.0 GT/s x8\n"},
       {"link_status", StartsWith("speed        8.0 GT/s of 16.0 GT/s  DEGRADED\n")}},
      true);
  EXPECT_THAT(session.result.log_of("retrain"), ElementsAre("retrain function=0000:3a:00.0"));
  EXPECT_THAT(session::line_run(R"({"functions": {"0000:3a:00.0": {"present": false}}})", "kxpcie retrain"),
              HasSubstr("no port above the function can be found\n"));
  EXPECT_THAT(session::line_run(R"({"link": {"training_ms": 60000}})", "kxpcie retrain"),
              HasSubstr("the link is still training after 1000 ms\n"));
}

// Link control and link control 2 of function 0, and the command that lane 2 was given last.
constexpr const char* LINK_SETTINGS[] = {"kxpcie cfg_read 0x70 2", "kxpcie cfg_read 0x90 2", "kxpcie cfg_read 0x2d0 2"};
constexpr const char* LINK_SETTINGS_TEXT = "0x070: 0x0042\n0x090: 0x0004\n0x2d0: 0x9c38\n";
constexpr const char* NORMAL_SETTINGS = "margining lane=2 command=0x0f16";

TEST(KxpcieMargin, MeasuresLanesAndGivesEverythingBack) {
  const auto session =
      session::run(R"({"margining": {"left": [5, 6, 20], "right": 8, "up": 9, "down": 31,
                                                      "timing_steps": 20, "voltage_steps": 31, "refuses_from": 15}})",
                   {"kxpcie margin 2 0", "kxpcie eye 1 0", LINK_SETTINGS[0], LINK_SETTINGS[1], LINK_SETTINGS[2]}, true);
  EXPECT_THAT(
      session.outputs[0],
      HasSubstr("\n   2   14/20  0.175 UI  ?     8/20  0.100 UI        9/31    58 mV        14/31    90 mV   ? \n"));
  EXPECT_THAT(session.outputs[1], AllOf(StartsWith("eye of lane 1: "), HasSubstr("\n   1    6/20  0.075 UI ")));
  EXPECT_EQ(session.outputs[2] + session.outputs[3] + session.outputs[4], LINK_SETTINGS_TEXT);
  const auto log = session.result.log_of("margining lane=2 ");
  EXPECT_THAT(log, Contains(NORMAL_SETTINGS));
  EXPECT_EQ(log.back(), "margining lane=2 command=0x9c38");
}

TEST(KxpcieMargin, LeavesOutWhatTheReceiverCannotDo) {
  EXPECT_THAT(session::line_run(R"({"margining": {"voltage": false, "left_right": false}})", "kxpcie margin 0 0"),
              HasSubstr("\n   0  -                      13/20  0.162 UI      -                     -"));
}

TEST(KxpcieMargin, RefusesLinksThatCannotBeMargined) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"link": {"speed": 3}})", "margining needs a link at 16 GT/s or more\n"},
      {R"({"link": {"width": 0}})", "the link is down\n"},
      {R"({"margining": {"ready": false}})", "the receiver is not ready for margining\n"},
      {R"({"margining": {"silent_lanes": [1]}})",
       "margining of lane 1: the receiver does not answer a command; the lane may not be at its normal settings\n"},
  };
  for (const auto& [card, says] : cases) {
    const auto session = session::run(card, {"kxpcie eye 1 0", LINK_SETTINGS[0], LINK_SETTINGS[1]}, true);
    EXPECT_THAT(session.outputs[0], HasSubstr(says)) << card;
    EXPECT_EQ(session.outputs[1] + session.outputs[2], "0x070: 0x0042\n0x090: 0x0004\n") << card;
  }
  const auto other = run({.input = "1\nsu opsu\nkxpcie margin\nquit\n"});
  EXPECT_THAT(other.out, HasSubstr("the function has no Lane Margining at the Receiver capability\n"));
}

TEST(KxpcieMargin, AnInterruptGivesEverythingBack) {
  Process process({.terminal = true});
  process.send("0\rsu opsu\rkxpcie margin 2 500\r");
  ASSERT_TRUE(process.expect_log("margining lane=2 command=0x"));
  ASSERT_TRUE(process.expect("margin ["));
  for (const pid_t tool : process.tools()) {
    kill(tool, SIGINT);
  }
  EXPECT_TRUE(process.expect("margining of lane 2: interrupted; the lane is at its normal settings"));
  EXPECT_TRUE(process.expect("]#"));
  for (const char* line : LINK_SETTINGS) {
    process.send(std::string(line) + "\r");
  }
  process.send("quit\r");
  const auto result = process.wait();
  EXPECT_EQ(result.status, 255);
  EXPECT_THAT(result.out, AllOf(HasSubstr("0x070: 0x0042"), HasSubstr("0x090: 0x0004"), HasSubstr("0x2d0: 0x9c38")));
  EXPECT_THAT(result.out, HasSubstr("%\r\r\x1b[Kkxtools_err: "));  // the progress bar is out of the way
  EXPECT_THAT(result.log_of("margining"), Contains(NORMAL_SETTINGS));
}

TEST(KxpcieMargin, HoldsBothEndsOfTheLinkMeanwhile) {
  const auto result = run(script(
      "look() { for f in 0000:3a:00.0 0000:3b:00.0; do od -An -tx2 -j $1 -N2 /sys/bus/pci/devices/$f/config; done; }; "
      "look 112; look 144; (printf '0\\nsu opsu\\nkxpcie margin 2 200\\n'; sleep 20) | $KXTOOL > /dev/null & "
      "while ! look 112 | grep -q 0240; do sleep 0.05; done; sleep 0.2; look 112; look 144; kill $!; "
      "while look 112 | grep -q 0240; do sleep 0.05; done; look 112; look 144"));
  const std::string settings = " 0042\n 0042\n 0004\n 0004\n";
  EXPECT_EQ(result.out, settings + " 0240\n 0240\n 0024\n 0024\n" + settings);
}

// Two that hold settings would give back each other's, and training ends a measurement. Other bits are others'.
TEST(KxpcieMargin, HasTheLinkToItselfAndGivesBackWhatItHeld) {
  const Folder folder;
  const auto result = run(script(
      "cd " + folder.path() +
      "; control() { od -An -tx2 -j 112 -N2 /sys/bus/pci/devices/0000:3b:00.0/config; }; "
      "printf '0\\nsu opsu\\nkxpcie margin 2 1000\\nquit\\n' | $KXTOOL > /dev/null & first=$!; "
      "until control | grep -q 0240; do sleep 0.05; done; "
      "printf '0\\nsu opsu\\nkxpcie cfg_write 0x70 0x02c0 2\\nkxpcie retrain\\nquit\\n' | $KXTOOL > retrain 2>&1 & "
      "until grep -q waiting retrain; do sleep 0.05; done; kill -INT $first; wait; control; cat retrain"));
  EXPECT_THAT(result.out, StartsWith(" 00c2\n"));
  EXPECT_THAT(result.out, ContainsRegex("waiting for process [0-9]+ \\([^\n]*\\), which holds "
                                        "/tmp/kx_pcie/pcie_link_lockfile\nport 0000:3a:00.0: link at 16.0"));
}

TEST(KxpcieReset, GivesEverySettingBack) {
  // MSI is on with 8 vectors, the virtual functions have a number, a page size and BARs.
  const auto session = session::run(R"({"functions": {"0000:3b:00.0": {"driver": "", "device_errors": 1,
      "config": {"0xc2": "b701", "0x190": "0800", "0x1a0": "10000000"}}}})",
                                    {"kxpcie cfg_dump 0 0x68", "kxpcie cfg_dump 0x70 0xf90", "kxpcie flr 0000:3b:00.0",
                                     "kxpcie cfg_dump 0 0x68", "kxpcie cfg_dump 0x70 0xf90", "kxpcie cfg_read 0x68"},
                                    true);
  EXPECT_EQ(session.outputs[2], "0000:3b:00.0 was reset and has its settings back\n");
  EXPECT_EQ(session.outputs[0], session.outputs[3]);
  EXPECT_EQ(session.outputs[1], session.outputs[4]);
  EXPECT_EQ(session.outputs[5], "0x068: 0x00102930\n");
  EXPECT_THAT(session.result.log_of("function_reset"), ElementsAre("function_reset function=0000:3b:00.0"));
}

TEST(KxpcieReset, TakesTheFunctionLevelOneOfTheKernelsMethods) {
  const auto result =
      run(script("printf '0\\nsu opsu\\nkxpcie flr 0000:3b:00.0\\nquit\\n' | $KXTOOL; "
                 "cat /sys/bus/pci/devices/0000:3b:00.0/reset_method",
                 R"({"functions": {"0000:3b:00.0": {"driver": "", "files": {"reset_method": "pm flr\n"}}}})"));
  EXPECT_THAT(result.out, HasSubstr("0000:3b:00.0 was reset and has its settings back\n"));
  EXPECT_THAT(result.out, EndsWith("pm flr\n"));
}

TEST(KxpcieReset, RefusesWhatItWouldBreak) {
  const std::pair<const char*, const char*> cases[] = {
      {R"("driver": "", "vfs_on": 2)", "virtual functions of 0000:3b:00.0 are on; a reset would remove them\n"},
      {R"("driver": "", "reset_capable": false)", "the function cannot be reset by itself\n"},
      {R"("driver": "vfio-pci")", "a driver uses 0000:3b:00.0; unbind it first\n"},
      {R"("driver": "", "absent_files": ["reset"])", "the kernel offers no reset of 0000:3b:00.0\n"},
      {R"("driver": "", "files": {"reset_method": "pm bus\n"})",
       "the kernel offers no function-level reset of 0000:3b:00.0, only: pm bus\n"},
  };
  for (const auto& [function, says] : cases) {
    const auto session = session::run(std::string(R"({"functions": {"0000:3b:00.0": {)") + function + "}}}",
                                      {"kxpcie flr 0000:3b:00.0"}, true);
    EXPECT_THAT(session.outputs[0], HasSubstr(says)) << function;
    EXPECT_THAT(session.result.log_of("function_reset"), IsEmpty());
  }
}

TEST(KxpcieReset, TellsWhenTheFunctionStaysAway) {
  EXPECT_THAT(
      session::line_run(R"({"functions": {"0000:3b:00.0": {"driver": "", "reset_returns": false}}})",
                        "kxpcie flr 3b:00.0"),
      HasSubstr("the kernel could not reset 0000:3b:00.0: Inappropriate ioctl for device; the function does not "
                "answer after its reset\n"));
}

}  // namespace
