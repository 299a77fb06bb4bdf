// One command line on the card: the device that it names, the compatibility gate, the status, and what stays behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/cases.h"
#include "text.h"

namespace {

using namespace kx_system;

std::string execute_error(const std::string& text) {
  return "kxtools_err: [kxtools_cmd_execute][#] " + text + "\n";
}

const std::string NAME_FAILED = execute_error("kxtools_dev_name2bdf failed!");
const std::string INFO_FAILED = execute_error("kxtools_dev_info_set failed!");

std::string name_error(const std::string& text) {
  return "kxtools_err: [kxtools_dev_name2bdf][#] " + text + "\n" + NAME_FAILED;
}

const std::string INTERFACES = "the cards' interfaces are eth0, eth1, eth2\n";

const std::string NO_COMMANDS = "kxtool: 'kxrdma' has no commands in this build\n";

std::string no_device(const std::string& word) {
  return "kxtool: '" + word + "' is no network interface or PCI address: " + INTERFACES;
}

std::string no_function(const std::string& word, const std::string& rest = INTERFACES) {
  return "kxtool: '" + word + "' belongs to no PCI function: " + rest;
}

TEST(Line, RunsOnTheDeviceThatItNames) {
  check_all({
      {"{}", "sn_info eth0 sn_info", 0, SERIAL_NUMBER},
      {"{}", "bind eth0 kxrdma", 0, "kxrdma" + std::string(59, ' ') + "kxrdma help info\n", NO_COMMANDS},
      {"{}", "bind 0000:3b:00.1 kxrdma", 0, "kxrdma" + std::string(59, ' ') + "kxrdma help info\n", NO_COMMANDS},
      // Without its segment, as other tools print it.
      {"{}", "bind 3b:00.1 kxrdma", 0, "kxrdma" + std::string(59, ' ') + "kxrdma help info\n", NO_COMMANDS},
      {"{}", "sn_info 3B:0.0 sn_info", 1,
       "kxtools_err: [device_acquire][#] The command does not yet support BDF type!\n",
       "kxtool: sn_info takes the interface of 0000:3b:00.0: eth0\n"},
  });
  // Words that the system's shell left together.
  EXPECT_EQ(run({.words = {"sn_info  eth1 ", "sn_info"}}).out, SERIAL_NUMBER);
}

TEST(Line, IsRefusedBeforeItTouchesADevice) {
  check_all({
      {"{}", "shell eth0", 255, "kxtool shell eth0: No such command for kxtools!\n",
       "kxtool: 'shell' is no command of kxtool: '-h' in its place lists them\n"},
      {"{}", "su opsu", 255, "kxtool su opsu: No such command for kxtools!\n",
       "kxtool: 'su' is a command of the shell, which 'kxtool' without words starts\n"},
      {"{}", "kxvqm glb", 255, "kxtool kxvqm glb: No such command for kxtools!\n",
       "kxtool: 'kxvqm' is a module: its commands are run by 'kxtool bind <device> kxvqm <command>'\n"},
      {"{}", "sn_info eth9 x", 255, name_error("fopen /sys/class/net/eth9/device/uevent failed"),
       "kxtool: 'eth9' is no network interface or PCI address: did you mean 'eth0'?\n"},
      {"{}", "sn_info lo x", 255, name_error("fopen /sys/class/net/lo/device/uevent failed"), no_function("lo")},
      {"{}", "sn_info ../../class/net/eth0 x", 255,
       name_error("fopen /sys/class/net/../../class/net/eth0/device/uevent failed"), no_device("../../class/net/eth0")},
      {"{}", "-v eth9", 255, name_error("fopen /sys/class/net/eth9/device/uevent failed"),
       "kxtool: 'eth9' is no network interface or PCI address: did you mean 'eth0'?\n"},
      {"{}", "sn_info 3b:00.8 x", 255,
       "Max kx function is 7, Please check your sbdf!\n" +
           name_error("fopen /sys/class/net/0000:3b:00.8/device/uevent failed"),
       no_device("0000:3b:00.8")},
      {"{}", "sn_info 0000:99:00.0 x", 255,
       "Failed to open resource file: /sys/bus/pci/devices/0000:99:00.0/resource\n"
       "kxtools_err: [kxtools_dev_info_set][#] Failed to get bar info from sys\n" +
           INFO_FAILED},
  });
}

TEST(Line, DoesNotBeginWithAnEmptyWord) {
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{""}, {" "}, {"", "sn_info", "eth0", "sn_info"}}) {
    const Result result = run({.words = words});
    EXPECT_EQ(result.status, 255);
    EXPECT_EQ(result.out, "kxtool " + words[0] + ": No such command for kxtools!\n");
    EXPECT_EQ(result.err, "kxtool: an empty word is no command: 'kxtool -h' lists them\n");
  }
}

constexpr char RESOURCE_ABSENT[] = R"({"functions": {"0000:3b:00.0": {"absent_files": ["resource0"]}}})";
// "resource" promises twice the 64 MiB that the file has.
constexpr char RESOURCE_TOO_LONG[] = R"({"functions": {"0000:3b:00.0": {"bar_size": 134217728}}})";
constexpr char BAR_WITHOUT_RECORDS[] = R"({"bar0": {"size": 16384}})";

TEST(Line, ReportsWhatIsWrongWithADevice) {
  const auto uevent = [](const std::string& text) {
    return R"({"functions": {"0000:3b:00.0": {"files": {"uevent": ")" + text + R"(\n"}}}})";
  };
  const std::string map_failed = "kxtools_err: [kxtools_dev_info_set][#] kxtools_dev_mmap failed\n" + INFO_FAILED;
  const std::string eth0_lost = no_function("eth0", "the cards' interfaces are eth1, eth2\n");
  const std::string words = "sn_info eth0 sn_info";
  check_all({
      {uevent("DRIVER=x"), words, 255, name_error("pci_bus_id is NULL"), eth0_lost},
      {uevent("PCI_SLOT_NAME=3b:00.0"), words, 255, name_error("format of bdf(3b:00.0) is err"), eth0_lost},
      {uevent("PCI_SLOT_NAME=0000:3b:00-0"), words, 255, name_error("pcie_sbdf_parse 0000:3b:00-0 failed"), eth0_lost},
      {uevent("PCI_SLOT_NAME=../3b:00:0.0/"), words, 255, EndsWith(NAME_FAILED), eth0_lost},
      {RESOURCE_ABSENT, words, 255,
       "kxtools_err: [kxtools_dev_mmap][#] open file /sys/bus/pci/devices/0000:3b:00.0/resource0 failed!\n" +
           map_failed,
       "kxtool: /sys/bus/pci/devices/0000:3b:00.0/resource0: No such file or directory\n"},
      {RESOURCE_TOO_LONG, words, 255,
       "kxtools_err: [kxtools_dev_mmap][#] file /sys/bus/pci/devices/0000:3b:00.0/resource0: mmap failed!\n" +
           map_failed,
       "kxtool: /sys/bus/pci/devices/0000:3b:00.0/resource0: shorter than BAR 0 is said to be\n"},
      {BAR_WITHOUT_RECORDS, words, 255,
       "kxtools_err: [kxtools_compat_version_read][#] BAR 0 of 0x4000 bytes does not hold compatibility record 1!\n"
       "kxtools_err: [kxtools_compat_version_if_exist][#] compat_id 1 invalid, max value is 10!\n" +
           execute_error("kxtools_compat_version_if_exist KXTOOLS_COMPAT_KXTOOL failed")},
  });
}

// A stock kernel maps no BAR that a driver has claimed. What only asks the driver goes on; the rest says why not.
TEST(Line, TellsWhyTheKernelKeepsTheBarAndGoesOnWhereTheDriverAnswers) {
  const std::string claimed = R"({"faults": {"bar0": {"claimed": true}})";
  const std::string reason =
      "Invalid argument: claimed by driver corvane10e; boot with iomem=relaxed or unbind the driver\n";
  const std::string goes_on = "kxtool: BAR 0 of 0000:3b:00.0 is not mapped: " + reason +
                              "kxtool: the firmware's compatibility record is not checked; the driver answers all the "
                              "same\n";
  const std::string file = "/sys/bus/pci/devices/0000:3b:00.0/resource0: ";
  const std::string failed = "kxtools_err: [kxtools_dev_mmap][#] file " + file + "mmap failed!\n" +
                             "kxtools_err: [kxtools_dev_info_set][#] kxtools_dev_mmap failed\n" + INFO_FAILED;
  check_all({
      {claimed + "}", "sn_info eth0 sn_info", 0, SERIAL_NUMBER, goes_on},
      {claimed + "}", "temp_info eth0 chip_temp", 0, "current chip temperature: 45 (degree centigrade) \n", goes_on},
      // The record that would refuse the command cannot be seen.
      {claimed + R"(, "bar0": {"compat": {"1": {"major": 1}}}})", "sn_info eth0 sn_info", 0, SERIAL_NUMBER, goes_on},
      {claimed + "}", "set_vf_status eth0 --mode all_vf --status auto", 255, failed, "kxtool: " + file + reason},
      {claimed + "}", "fwupdate eth0 package", 255, failed, "kxtool: " + file + reason},
      {claimed + "}", "sn_info 0000:3b:00.0 sn_info", 255, failed, "kxtool: " + file + reason},
      {claimed + R"(, "functions": {"0000:3b:00.0": {"driver": ""}}})", "fwupdate 0000:3b:00.0 package", 255, failed,
       "kxtool: " + file + "Invalid argument\n"},
  });
}

TEST(Line, PassesTheGateOfItsOwnDevicesRecord) {
  const std::string words = "sn_info eth0 sn_info";
  const auto refused = [](const std::string& text) {
    return "kxtools_err: [kxtools_compat_version_check][#] " + text +
           "\nkxtool sn_info eth0 sn_info: Compatibility check failed!\n";
  };
  check_all({
      {R"({"bar0": {"compat": {"1": {"major": 1}}}})", words, 255, refused("cmd major 0 is not match fw 1!")},
      {R"({"bar0": {"compat": {"0": {"major": 9}, "3": {"major": 9}}}})", words, 0, SERIAL_NUMBER},
      {R"({"bar0": {"compat": {"1": {"present": false, "major": 9, "drv_minor": 9}}}})", words, 0,
       "Warning: No firmware compatibility information available!\n" + SERIAL_NUMBER},
      // Entries without versions are not checked, whatever the card says.
      {R"({"bar0": {"compat": {"1": {"major": 1}}}})", "bind eth0 kxrdma", 0,
       "kxrdma" + std::string(59, ' ') + "kxrdma help info\n", NO_COMMANDS},
  });
}

TEST(Line, HasAtMost48WordsAfterTheSubCommand) {
  std::string words = "sn_info eth0";
  for (int i = 2; i <= 49; ++i) {
    words += " w";
  }
  check({"{}", words, 255, StartsWith("kxtools_err: [kxtool_cmd][#] ctx is NULL\nkxtool sn_info")});
}

TEST(Line, KeepsItsMessagesOutOfDeviceFilesWhenItsStreamsAreClosed) {
  const struct {
    const char* script;
    int status;
    const char* out;
  } cases[] = {
      {"$KXTOOL sn_info eth0 sn_info <&- 2>&-", 0, "sn=KX2601A00042\n"},
      {"$KXTOOL sn_info eth0 sn_info <&- >&- 2>&-", 0, ""},
      {"$KXTOOL sn_info eth9 sn_info <&- >&- 2>&-", 255, ""},
      {"$KXTOOL <&- >&- 2>&-", 1, ""},
  };
  for (const auto& c : cases) {
    // What the card's memory and configuration space hold must be what they held.
    const Result result = run(script(
        "cd /sys/bus/pci/devices/0000:3b:00.0; cp config /tmp/kxtool/c; head -c 65536 resource0 > /tmp/kxtool/b\n" +
        std::string(c.script) +
        "\nstatus=$?; cmp config /tmp/kxtool/c && head -c 65536 resource0 | cmp - /tmp/kxtool/b && exit $status"));
    EXPECT_EQ(result.status, c.status) << c.script;
    EXPECT_EQ(result.out, c.out) << c.script;
    EXPECT_EQ(result.err, "") << c.script;
  }
}

TEST(Line, SaysWhenItsOutputIsLost) {
  for (const char* words : {"sn_info eth0 sn_info", "-v", "-h", "bind eth0 kxbttl"}) {
    const Result result = run(script("$KXTOOL " + std::string(words) + " > /dev/full"));
    EXPECT_EQ(result.status, 1) << words;
    EXPECT_EQ(result.err, "kxtool: writing to standard output failed\n") << words;
  }
}

}  // namespace
