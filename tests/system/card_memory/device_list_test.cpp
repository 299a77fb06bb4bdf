// The device list, the choice from it, and the bind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/cases.h"
#include "system/session.h"

namespace {

using namespace kx_system;

constexpr const char* RULE = "-----------------------------------------------------\n";

std::string list_of(const char* card) {
  return run({.card = card, .input = "q\nquit\n"}).out;
}

TEST(DeviceList, ShowsFunctionsBelowTheirSwitch) {
  EXPECT_THAT(list_of("{}"), StartsWith(std::string(RULE) +
                                        "switch 0000:3a:00.0  1cf2:8036  class 060400\n"
                                        "    [0] 0000:3b:00.0  1cf2:8037  class 020000  vf 8040\n"
                                        "    [1] 0000:3b:00.1  1af4:1041  class 020000  vf 8040\n" +
                                        RULE));
}

TEST(DeviceList, NumbersFromZeroWithoutASwitchAndByAddress) {
  EXPECT_THAT(list_of(R"({"functions": {"0000:3a:00.0": {"present": false},
                                        "0000:02:00.0": {"vendor": "0x1cf2", "device": "0x809f", "vf_device": 1}}})"),
              StartsWith(std::string(RULE) +
                         "[0] 0000:02:00.0  1cf2:809f  class 020000  vf 0001\n"
                         "[1] 0000:3b:00.0  1cf2:8037  class 020000  vf 8040\n"
                         "[2] 0000:3b:00.1  1af4:1041  class 020000  vf 8040\n" +
                         RULE));
}

TEST(DeviceList, LeavesOutWhatCannotBeRead) {
  const struct {
    const char* function;
    const char* file;
    const char* line;
  } cases[] = {
      {"0000:3b:00.0", "vendor", "get vendor failed!\n"},
      {"0000:3b:00.0", "device", "get device failed!\n"},
      {"0000:3a:00.0", "class", "get classcode failed!\n"},
  };
  for (const auto& c : cases) {
    const std::string function = std::string(R"({"functions": {")") + c.function;
    const std::string shown = c.function;
    const std::string garbage = list_of((function + R"(": {"files": {")" + c.file + "\": \"garbage\\n\"}}}}").c_str());
    EXPECT_THAT(garbage, StartsWith(std::string(RULE) + c.line));
    EXPECT_THAT(garbage, Not(HasSubstr(shown + "  1cf2")));
  }
  const std::string absent = list_of(R"({"functions": {"0000:3b:00.0": {"absent_files": ["vendor"]}}})");
  EXPECT_THAT(absent, StartsWith(std::string(RULE) + "switch "));
  EXPECT_THAT(absent, HasSubstr("[0] 0000:3b:00.1  1af4:1041"));
}

TEST(DeviceList, EndsAtALoopOfExtendedCapabilities) {
  EXPECT_THAT(list_of(R"({"faults": {"configuration": {"extended_loop": true}}})"), HasSubstr("no kx device found\n"));
}

TEST(Bind, RefusesFirmwareAndFunctionsOfOthers) {
  check_all({
      {R"({"bar0": {"compat": {"6": {"major": 1}}}})", "bind 0000:3b:00.0 kxvqm glb version", 255,
       AllOf(HasSubstr("cmd major 0 is not match fw 1!\nfw not match kx_pcie!\n"),
             HasSubstr("bind_pcie_dev_by_sbdf failed\n"))},
      // The BAR of another maker's is not even looked for.
      {R"({"functions": {"0000:00:1f.6": {"absent_files": ["resource0"]}}})", "bind 0000:00:1f.6 kxvqm glb version",
       255,
       AllOf(HasSubstr("Bind to the pcie device 0000:00:1f.6 failed!\nPlease bind kx device\n"),
             Not(HasSubstr("resource0")))},
      {"{}", "bind eth2 kxpcie cfg_read 0", 0, "0x000: 0xffffffff\n"},  // a virtual function, whose identity is no word
  });
}

TEST(Bind, LeavesTheTunnelOfTheFunctionBeforeInOrder) {
  // Transfers 0 and 1 are the first bind's; the status read that follows says that the last access failed.
  const auto result = run({
      .card = R"({"faults": {"tunnel": {"transfers": [{"from": 2, "count": 1, "status": 0}]}}})",
      .input = "0\nsbdf\n1\nkxvqm glb date\nquit\n",
  });
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.log_of("tunnel"), ElementsAre("tunnel function=0000:3b:00.0 command=0x90620000 data=0x08000000",
                                                   "tunnel function=0000:3b:00.0 command=0x20000000 data=0x00000000",
                                                   "tunnel function=0000:3b:00.0 command=0x50000000 data=0x00000000",
                                                   "tunnel function=0000:3b:00.0 command=0xc0000000 data=0x00000000",
                                                   "tunnel function=0000:3b:00.1 command=0x90620000 data=0x08000000",
                                                   "tunnel function=0000:3b:00.1 command=0x20000000 data=0x00000000",
                                                   "tunnel function=0000:3b:00.1 command=0x90620000 data=0x08000004",
                                                   "tunnel function=0000:3b:00.1 command=0x20000000 data=0x00000000"));
}

TEST(DeviceList, LeavesOutWhatItCannotNameAndSaysSo) {
  const auto result = run({.card = R"({"functions": {"10000:3b:00.0": {}}})", .input = "q\nquit\n"});
  EXPECT_THAT(result.out, HasSubstr("[1] 0000:3b:00.1"));
  EXPECT_THAT(result.out, Not(HasSubstr("Please input SBDF")));
  EXPECT_EQ(result.err, "10000:3b:00.0 is left out: its segment is above ffff\n");
}

TEST(Bind, AFunctionThatIsRemovedEndsEveryCommandWithALine) {
  const auto result =
      run(script("(echo 0; sleep 1; echo 1 > /sys/bus/pci/devices/0000:3b:00.0/remove; printf 'kxpcie link_status\\n"
                 "kxpcie devmem 0x6208000000\\nkxpcie bar_list\\nsbdf\\n0\\nkxpcie cfg_read 0\\nquit\\n') | "
                 "$KXTOOL"));
  EXPECT_EQ(result.status, 255);
  EXPECT_THAT(result.out, HasSubstr("open file:/sys/bus/pci/devices/0000:3b:00.0/config failed"));
  EXPECT_THAT(result.out, Not(HasSubstr("0x6208000000: 0x")));
  EXPECT_THAT(result.out, HasSubstr("0x000: 0x10411af4\n")) << "the next function is bound as ever";
}

}  // namespace
