// The network ports: modules and interfaces.
#include <gmock/gmock.h>

#include "system/cases.h"

namespace {

using namespace kx_system;

const std::string LINK_USAGE_START = "    COMMAND:\n        link\n    SYNOPSIS:\n        kxtool link <device> -m\n";

std::string card(const std::string& module) {
  return R"({"modules": {"eth0": )" + module + "}}";
}

TEST(Link, ShowsTheModuleOfTheCardFile) {
  const Case sfp = {card(R"({"kind": "sfp", "vendor": "ACME", "part": "P-1", "revision": "1C", "serial": "S/N 12",
                             "date": "251231AB", "temperature": -7, "voltage": 3250, "receive_power": 0,
                             "send_power": 1000, "bias": 7000})"),
                    "link eth0 -m", 0,
                    "module of eth0\n"
                    "  type          SFP/SFP+/SFP28 (0x03)\n"
                    "  vendor        ACME\n"
                    "  vendor OUI    02:1c:f2\n"
                    "  part          P-1\n"
                    "  revision      1C\n"
                    "  serial        S/N 12\n"
                    "  date          2025-12-31 lot AB\n"
                    "  bit rate      10300 Mbit/s a lane\n"
                    "  temperature   -7.00 degrees Celsius\n"
                    "  voltage       3.2500 V\n"
                    "  lane 1        receive 0.0000 mW (no light)  send 1.0000 mW (0.00 dBm)  bias 7.000 mA\n"};
  EXPECT_THAT(check(sfp).log_of("module_read "), ElementsAre("module_read offset=0 length=512"));

  check_all({
      {card(R"({"receive_power": [100, 200], "eeprom_length": "0xffffffff"})"), "link eth0 -m", 0,
       AllOf(HasSubstr("QSFP28 (0x11)"), HasSubstr("lane 1        receive 0.1000 mW (-10.00 dBm)"),
             HasSubstr("lane 4        receive 0.2000 mW (-6.99 dBm)"))},
      {card(R"({"kind": "cmis"})"), "link eth0 -m", 0,
       AllOf(HasSubstr("QSFP-DD (0x18)"), HasSubstr("38.00 degrees"), Not(HasSubstr("lane 1")))},
  });
}

TEST(Link, SaysWhatIsWrongWithAModule) {
  const std::string error = "kxtools_err: [failure_report][#] eth0: ";
  const std::string decoding = "kxtools_err: [module_show][#] eth0: ";
  check_all({
      {card(R"({"absent": true})"), "link eth0 -m", 1, error + "no module is plugged in\n"},
      {card(R"({"errno": 95})"), "link eth0 -m", 1, error + "its driver cannot read modules\n"},
      {card(R"({"errno": 5})"), "link eth0 -m", 1, error + "the module cannot be read: Input/output error\n"},
      {card(R"({"answer_length": 100})"), "link eth0 -m", 1, decoding + "the module's answer ends after 100 bytes\n"},
      {card(R"({"eeprom_length": 0})"), "link eth0 -m", 1, decoding + "the module's answer ends after 0 bytes\n"},
      {card(R"({"bytes": {"0": "7f"}})"), "link eth0 -m", 1, decoding + "module of an unknown kind, identifier 0x7f\n"},
      {card(R"({"bytes": {"0x96": "1b5b"}})"), "link eth0 -m", 1,
       AllOf(HasSubstr("vendor        CO?[ANE OPTICS\n"), HasSubstr("fails its check sums"))},
  });
}

TEST(Link, RefusesOtherWords) {
  for (const char* line : {"link eth0", "link eth0 -M", "link eth0 -m -m", "link eth0 -m;reboot"}) {
    Result result = run({.words = words_of(line)});
    EXPECT_EQ(result.status, 1) << line;
    EXPECT_THAT(result.out, StartsWith(LINK_USAGE_START)) << line;
    EXPECT_TRUE(result.log_of("ethtool ").empty()) << line;
  }
}

TEST(DumpEthInfo, ListsTheInterfacesOfTheCards) {
  const std::string head =
      "interface       pci address  identity      function driver           mac               state\n";
  const std::string all = head +
                          "eth0            0000:3b:00.0 0x1cf2:0x8037 physical corvane10e       02:1c:f2:00:00:02 up\n"
                          "eth1            0000:3b:00.1 0x1af4:0x1041 physical corvane10e       02:1c:f2:00:00:03 up\n"
                          "eth2            0000:3b:01.0 0x1cf2:0x8040 virtual  corvane10e       02:1c:f2:00:00:04 up\n";
  const Case cases[] = {
      {"{}", "dump_eth_info", 0, all},
      {R"({"functions": {"0000:3b:00.0": {"interface": ""}, "0000:3b:00.1": {"driver": ""},
                         "0000:3b:01.0": {"present": false}}})",
       "dump_eth_info", 0,
       head + "eth1            0000:3b:00.1 0x1af4:0x1041 physical -                02:1c:f2:00:00:03 up\n"},
      {R"({"functions": {"0000:3b:00.0": {"interface": ""}, "0000:3b:00.1": {"interface": ""},
                         "0000:3b:01.0": {"interface": ""}}})",
       "dump_eth_info", 1, "kxtools_err: [kxtool_dump_eth_info][#] no network interface of a card\n"},
      {R"({"functions": {"10000:3b:00.0": {"interface": "far0"},
                         "10000:3c:00.0": {"vendor": "0x8086", "interface": "other0"}}})",
       "dump_eth_info", 0, all, "far0 is left out: the segment of 10000:3b:00.0 is above ffff\n"},
      {"{}", "dump_eth_info eth0", 1, testing::_, testing::_},
  };
  for (const Case& c : cases) {
    EXPECT_TRUE(check(c).log.empty());  // no card is touched
  }
}

// Whatever the kernel's links tell holds, also when configuration space says nothing; without them, it is not said to
// say what it does not.
TEST(DumpEthInfo, TellsTheKindOfAFunctionFromWhatCanBeRead) {
  const std::pair<const char*, const char*> rows[] = {
      {R"({"faults": {"dead": true}})", "physical physical virtual "},
      {R"({"host": {"ordinary_user": true}})", "physical physical virtual "},
      {R"({"faults": {"dead": true}, "functions": {"0000:3b:00.0": {"absent_files": ["sriov_totalvfs"]}}})",
       "silent physical virtual "},
      {R"({"host": {"ordinary_user": true}, "functions": {"0000:3b:00.0": {"absent_files": ["sriov_totalvfs"]},
                    "0000:3b:00.1": {"absent_files": ["config", "sriov_totalvfs"]}}})",
       "unknown unknown virtual "},
      {R"({"functions": {"0000:3b:00.0": {"absent_files": ["sriov_totalvfs"]}}})", "physical physical virtual "},
  };
  for (const auto& [card, kinds] : rows) {
    const std::vector<std::string> words = words_of(check({card, "dump_eth_info", 0, testing::_}).out);
    std::string seen;
    for (size_t i = 8 + 3; i < words.size(); i += 7) {  // the fourth of seven columns, below a heading of eight words
      seen += words[i] + " ";
    }
    EXPECT_EQ(seen, kinds) << card;
  }
}

}  // namespace
