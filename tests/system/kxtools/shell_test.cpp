// The shell on a pipe and on a file: the choice of a device, the order of what is printed, every line once, the status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "text.h"

namespace {

using namespace kx_system;

const std::string NOT_BOUND = "Warning: No pci device bound, commands restricted!\n";
const std::string FOO = "foo: No such command for kxtools!\n";

TEST(Shell, PrintsEachTextOnceAndInOrder) {
  const Result result =
      shell_run("0\nfoo\nkxtool sn_info eth0 sn_info\nkxtool foo\nkxrdma\nkxtool sn_info eth1 sn_info\nquit\nfoo\n");
  EXPECT_EQ(result.out, DEVICE_LIST + ASK + FOO + SERIAL_NUMBER + "kxtool foo: No such command for kxtools!\n" +
                            "kxrdma" + std::string(59, ' ') + "kxrdma help info\n" + SERIAL_NUMBER);
  EXPECT_EQ(result.status, 255);
}

TEST(Shell, LetsTheUserChooseADevice) {
  const std::string bad = "Warning: invalid input, please enter index again: ";
  const std::string no_device = "kxtools_err: [kxtools_sbdf_switch][#] kxtools_dev_init failed\n";
  const std::string unknown = "kxtools_err: [kxtools_dev_init][#] get_sbdf_by_node_id failed\n" + no_device;
  const struct {
    const char* input;
    std::string said;
    int status;
  } cases[] = {
      {"0\n", "", 0},
      {"1\nfoo", FOO, 255},
      {"q\nfoo\n", NOT_BOUND + FOO, 255},
      {"7\nfoo\n", unknown, 255},
      {"x\n\n-1\n0\nfoo\n", bad + bad + bad + "\nWarning: maximum retrys reached, Exiting.\n" + no_device, 255},
      {"", "\n", 1},
  };
  for (const auto& c : cases) {
    const Result result = shell_run(c.input);
    EXPECT_EQ(result.out, DEVICE_LIST + ASK + c.said) << c.input;
    EXPECT_EQ(result.status, c.status) << c.input;
  }
  EXPECT_THAT(shell_run("9\n").err, HasSubstr("has no index 9"));
}

TEST(Shell, BindsAgain) {
  const std::string list = DEVICE_LIST + ASK;
  // "q" keeps the device that is bound; without one it is said that there is none.
  Result result = shell_run("0\nsbdf\n1\nsbdf\nq\nfoo\n");
  EXPECT_EQ(result.out, list + list + list + FOO);
  result = shell_run("q\nsbdf\nq\nsbdf\n0\nsbdf\n9\nquit\n");
  EXPECT_EQ(result.out, list + NOT_BOUND + list + NOT_BOUND + list + list +
                            "kxtools_err: [kxtools_dev_init][#] get_sbdf_by_node_id failed\n"
                            "kxtools_err: [kxtools_sbdf_switch][#] kxtools_dev_init failed\n"
                            "sbdf: Command exec failed!\n");
  EXPECT_EQ(result.status, 255);
  result = shell_run("q\nsbdf\n");
  EXPECT_EQ(result.out, list + NOT_BOUND + list + "\n");
  EXPECT_EQ(result.status, 1);
}

TEST(Shell, RefusesADeviceThatItCannotBind) {
  const auto no_record = [](const char* size, const char* id) {
    return "kxtools_err: [kxtools_compat_version_read][#] BAR 0 of " + std::string(size) +
           " bytes does not hold compatibility record " + id + "!\n";
  };
  const std::pair<const char*, std::string> cases[] = {
      // The PCIe module compares its own record; then all ten are read.
      {R"({"bar0": {"size": 4096}})", no_record("0x1000", "6") +
                                          "fw not match kx_pcie!\n"
                                          "kxtools_err: [kxtools_dev_bind][#] bind_pcie_dev_by_sbdf failed\n"
                                          "kxtools_err: [kxtools_dev_init][#] kxtools_dev_bind failed\n"
                                          "kxtools_err: [kxtools_sbdf_switch][#] kxtools_dev_init failed\n"},
      {R"({"bar0": {"size": 21568}})",
       no_record("0x5440", "8") + "kxtools_err: [kxtools_compat_version_init][#] kxtools_compat_version_get failed!\n"
                                  "kxtools_err: [kxtools_sbdf_switch][#] kxtools_compat_version_init failed\n"},
  };
  for (const auto& [card, said] : cases) {
    const Result result = shell_run("0\nfoo\n", card);
    EXPECT_EQ(result.out, DEVICE_LIST + ASK + said);
    EXPECT_EQ(result.status, 255);
  }
}

TEST(Shell, RunsEveryLineOfAFileExactlyOnce) {
  // A child shares the position in the file with the shell: neither may move it for the other.
  std::string input = "0\n";
  std::string said = DEVICE_LIST + ASK;
  for (int i = 0; i < 5; i++) {
    input += "kxtool sn_info eth0 sn_info\nfoo\n";
    said += SERIAL_NUMBER + FOO;
  }
  input += "kxtool sn_info eth0 sn_info";
  said += SERIAL_NUMBER;
  for (const bool is_file : {true, false}) {
    const Result result = shell_run(input, "{}", is_file);
    EXPECT_EQ(result.out, said);
    EXPECT_EQ(result.status, 255);
  }
}

TEST(Shell, EndsWithTheOrOfAllResults) {
  EXPECT_EQ(shell_run("0\nkxtool sn_info eth0 sn_info\n\nhelp\n").status, 0);
  EXPECT_EQ(shell_run("0\nkxtool sn_info eth0 wrong\nkxtool sn_info eth0 sn_info\n").status, 1);
  EXPECT_EQ(shell_run("0\nkxtool sn_info eth0 wrong\n  \nquit\n").status, 255);
}

TEST(Shell, KeepsGoingAfterHostileLines) {
  const std::string long_word(1 << 20, 'x');
  Result result = shell_run("0\n" + long_word + "\nfoo\n");
  EXPECT_EQ(result.out, DEVICE_LIST + ASK + long_word + ": No such command for kxtools!\n" + FOO);

  std::string many_words = "kxrdma";
  for (int i = 0; i < 100000; i++) {
    many_words += " w";
  }
  result = shell_run("0\n" + many_words + "\nfoo\n");
  EXPECT_EQ(result.out, DEVICE_LIST + ASK + "kxtools_err: [kxtools_module_help][#] para is err!\n" + many_words +
                            ": Command exec failed!\n" + FOO);

  result = shell_run("0\n\x01\xff\t%s%n\r\nfoo\n");
  EXPECT_EQ(result.out, DEVICE_LIST + ASK + "\x01\xff\t%s%n\r: No such command for kxtools!\n" + FOO);
}

TEST(Shell, HelpOfASubCommandIsThereWhateverTheBoundCardSays) {
  const Result result = shell_run("0\nkxtool sn_info -h\n", R"({"bar0": {"compat": {"1": {"major": 9}}}})");
  EXPECT_THAT(result.out, StartsWith(DEVICE_LIST + ASK + "    COMMAND:\n        sn_info\n"));
  EXPECT_EQ(result.status, 0);
}

TEST(Shell, GivesTheBindCommandNoUse) {
  const Result result = shell_run("0\nkxtool bind eth0 kxrdma\n");
  EXPECT_EQ(result.out, DEVICE_LIST + ASK +
                            "kxtools_err: [kxtool_bind][#] This command only supports non-interactive command line!\n");
  EXPECT_EQ(result.status, 0);
}

// A failed exchange ends the tool; with a BAR that is gone none is begun.
TEST(Shell, SaysWhichBarWasTakenAwayAndGoesOn) {
  Process shell({.card = R"({"faults": {"bar0": {"taken_ms": 2000}}})"});
  shell.send("0\nsu opsu\n");
  ASSERT_TRUE(shell.expect_log("bar_claimed"));
  shell.send("kxvqm barchan send_ovs_msg 39 1\nkxpcie cfg_read 0 4\nquit\n");
  const Result result = shell.wait();
  EXPECT_EQ(result.err,
            "kxtool: 0000:3b:00.0 BAR 0 was taken away, by a driver or with the card: it reads all ones from now on\n");
  EXPECT_THAT(result.out, HasSubstr("0x000: 0x80371cf2\n"));
  EXPECT_THAT(result.out, Not(HasSubstr("BAR MSG")));
  EXPECT_EQ(result.status, 255) << "a line failed";
}

}  // namespace
