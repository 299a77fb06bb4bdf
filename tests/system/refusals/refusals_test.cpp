// Nothing is refused and nothing fails in silence: every refusal that a word, a card file or the file system can cause
// prints at least one line that names both what is wrong and what it is about.
#include <gmock/gmock.h>

#include <cstdio>
#include <sstream>

#include "system/process.h"
#include "update_run.h"

namespace {

struct Refusal {
  const char* words;  // of the tool
  const char* cause;  // both stand in one line of what it prints
  const char* target;
};

const char* const DEFAULT_CARD = "{}";

size_t driven = 0;

bool has_line(const std::string& text, const std::string& cause, const std::string& target) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (line.find(cause) != std::string::npos && line.find(target) != std::string::npos) {
      return true;
    }
  }
  return false;
}

void expect_told(const kx_system::Result& result, const std::string& words, const std::string& cause,
                 const std::string& target) {
  ++driven;
  EXPECT_FALSE(result.timed_out) << words;
  EXPECT_GT(result.status, 0) << words << "\n" << result.out << result.err;
  EXPECT_TRUE(has_line(result.out + "\n" + result.err, cause, target))
      << words << " does not tell '" << cause << "' of '" << target << "':\n"
      << result.out << "--\n"
      << result.err;
}

// One-shot.
void drive(const Refusal& row, const char* card = DEFAULT_CARD) {
  expect_told(kx_system::run({.card = card, .words = kx_system::words_of(row.words)}), row.words, row.cause,
              row.target);
}

// A line of the shell, as super user, on the first function of the list.
void drive_super(const Refusal& row, const char* card = DEFAULT_CARD) {
  const std::string input = std::string("0\nsu opsu\n") + row.words + "\nquit\n";
  expect_told(kx_system::run({.card = card, .input = input}), row.words, row.cause, row.target);
}

class Refusals : public testing::Test {
 protected:
  static void TearDownTestSuite() {
    printf("%zu refusals and failures were driven, none of them silent when all tests passed\n", driven);
  }
};

TEST_F(Refusals, OfWordsNameTheWord) {
  const Refusal rows[] = {
      {"foo", "No such command", "foo"},
      {"sn_inf eth0 sn_info", "did you mean 'sn_info'", "sn_inf"},
      {"SN_INFO eth0 sn_info", "did you mean 'sn_info'", "SN_INFO"},
      {"--hlep", "did you mean '--help'", "--hlep"},
      {"kxvqm glb version", "is a module", "kxvqm"},
      {"su opsu", "is a command of the shell", "su"},
      {"shell eth0 f", "No such command", "shell"},
      {"devmem eth0 np 0", "super user", "devmem"},
      {"reset eth0", "No execution permission", "reset"},
      {"sn_info", "needs a device", "sn_info"},
      {"diag", "needs a device", "diag"},
      {"sn_info eth0", "is missing", "sn_info"},
      {"sn_info eth0 sn_inf", "did you mean 'sn_info'", "sn_inf"},
      {"sn_info eth0 sn_info x", "one word too many", "'x'"},
      {"mac_info eth0", "is missing", "mac_info"},
      {"mac_info eth0 macs", "stands where 'mac_info' must", "macs"},
      {"temp_info eth0 chip", "did you mean 'chip_temp'", "chip"},
      {"temp_info eth0 chip_temp 1", "one word too many", "'1'"},
      {"set_vf_status eth0", "'--mode' is missing", "set_vf_status"},
      {"set_vf_status eth0 --mode all_vf --status", "a value is missing", "set_vf_status"},
      {"set_vf_status eth0 --mod all_vf --status auto", "did you mean '--mode'", "--mod"},
      {"set_vf_status eth0 --mode all --status auto", "did you mean 'all_vf'", "'all'"},
      {"set_vf_status eth0 --mode all_vf --status on", "is no status", "'on'"},
      {"set_vf_status eth0 --mode all_vf --status auto x", "one word too many", "'x'"},
      {"link eth0", "'-m' is missing", "link"},
      {"link eth0 -x", "stands where '-m' must", "-x"},
      {"diag eth0", "is missing", "diag"},
      {"diag eth0 vqn", "did you mean 'vqm'", "vqn"},
      {"diag eth0 vqm np", "one word too many", "np"},
      {"stat eth0 pcie", "is no unit of the card", "pcie"},
      {"bind", "needs a device, a module", "bind"},
      {"bind eth0", "needs a device, a module", "bind"},
      {"bind eth0 kxvqn", "did you mean 'kxvqm'", "kxvqn"},
      {"bind eth0 help", "is no module", "help"},
      {"bind eth0 kxrdma x", "has no commands", "kxrdma"},
      {"bind eth0 kxvqm glb versoin", "did you mean 'version'", "versoin"},
      {"bind eth0 kxnp no_such_function", "is no command of kxnp", "no_such_function"},
      {"bind eth0 kxbttl dxge", "too few paras", "kxbttl_exec"},
      {"bind eth0 kxpcie devmem", "too few words", "devmem"},
      {"bind eth0 kxpcie cfg_read 4096", "is no number", "offset 4096"},
      {"bind eth0 kxpcie flr 0000:3b:00.0", "super user", "flr"},
      {"nvme eth0 list", "not available in this build", "nvme"},
      {"repair p", "not available in this build", "repair"},
      {"hwread eth0", "not available in this build", "hwread"},
      {"pkt_capture eth0", "not available in this build", "pkt_capture"},
      {"fwupdate eth0", "one word is needed", "package"},
      {"fwupdate eth0 part version", "one word too many", "'version'"},
      {"fwupdate eth0 /dev/null --dryrun", "did you mean '--dry-run'", "--dryrun"},
      {"fwupdate eth0 /dev/null --sha265 0", "did you mean '--sha256'", "--sha265"},
      {"fwupdate eth0 versoin", "did you mean 'version'", "versoin"},
      {"fwupdate eth0 /no/package", "No such file or directory", "/no/package"},
      {"fwupdate eth0 /dev/null", "is no regular file", "/dev/null"},
      {"fwupdate eth0 /tmp", "is no regular file", "/tmp"},
  };
  for (const Refusal& row : rows) {
    drive(row);
  }
}

// Some of the modules' own texts do not say what was wrong, and most of their commands end with 0 whatever happened.
TEST_F(Refusals, OfTheModulesWordsNameTheWord) {
  const Refusal rows[] = {
      {"kxvqm vf", "vf port stat info", "vf"},
      {"kxvqm vf 1193", "out of range", "1193"},
      {"kxvqm vring y", "illegal", "[y]"},
      {"kxvqm vring 4096", "out of range", "4096"},
      {"kxvqm glb x", "is no command of glb", "'x'"},
      {"kxvqm hsot", "did you mean 'host'", "hsot"},
      {"kxvqm others", "has no commands", "others"},
      {"kxvqm debug opne", "did you mean 'open'", "opne"},
      {"kxvqm barchan bind_bdf zz", "zz", "kx"},
      {"kxbttl dxge", "'-h' shows them", "dxge"},
      {"kxbttl dxge 1", "'-h' shows them", "dxge"},
      {"kxbttl dxge 2 dump 0 1", "not support", "2"},
      {"kxbttl dxge 1 dmup 0 1", "did you mean 'dump'", "dmup"},
      {"kxbttl dxge 1 dump 0", "<path 0..1> <port 1..3>", "kxbttl dxge 1 dump"},
      {"kxbttl dxge 1 dump q 1", "strtoul failed", "[q]"},
      {"kxbttl bman 1 stat 9", "invalid bman pool [0-3]", "bman"},
      {"kxbttl qman 1 stat 5 1", "invalid qman queue [0-0xff]", "qman"},
      {"kxtrace_app trace", "'-h' shows them", "trace"},
      {"kxtrace_app trace verison", "did you mean 'version'", "verison"},
      {"kxtrace_app np rate", "a word is missing", "np rate 1 [port 0..15]"},
      {"kxtrace_app np rate 1 x", "is no portid from 0 to 15", "'x'"},
      {"kxtrace_app np rate 1 16", "invalid portid", "16"},
      {"kxtrace_app np rate 1 0 9", "one word too many", "'9'"},
      {"kxnp diag_dpp_stat_ca", "did you mean 'diag_dpp_stat_car'", "diag_dpp_stat_ca"},
      {"kxnp diag_dpp_ppu_cls_cnt_prt 16", "INVALID", "diag_dpp_ppu_cls_cnt_prt"},
      {"kxnp diag_dpp_stat_car zero", "is no number of 32 bits", "diag_dpp_stat_car takes it for 0x0"},
      {"kxnp diag_dpp_stat_car 0x", "is no number of 32 bits", "'0x'"},
      {"kxnp diag_dpp_stat_car 0x100000000", "is no number of 32 bits", "0x100000000"},
      {"kxnp diag_dpp_stat_car 0 1 2 3 4 5 6 7 8 9 a b c", "oversize", "argc:13"},
      {"kxnp mcode_drop_stat x", "is not right", "mcode_drop_stat"},
      {"kxpcie devmem zz", "is no number", "address zz"},
      {"kxpcie devmem 2", "must be multiples of 4", "0x2"},
      {"kxpcie dbi_read 5 0", "is no number", "controller 5"},
      {"kxpcie cfg_read 0 3", "is not 1, 2 or 4", "width 3"},
      {"kxpcie link_status x", "too many words", "link_status"},
      {"kxpcie link_status --verify", "takes no options", "link_status"},
      {"kxpcie devmem_write 0 1 --verfy", "did you mean '--verify'", "--verfy"},
      {"kxpcie bar_write 0 0 1 --check", "there are --verify", "--check"},
      {"kxpcie devmem_write 0x6208000000 1 --verify", "does not hold what was written", "0x6208000000"},
      {"kxpcie tunnel_mode acess 1", "did you mean 'access'", "acess"},
      {"kxpcie margin alll", "did you mean 'all'", "alll"},
      {"kxpcie margin 99", "is no number", "lane 99"},
      {"kxrdma", "has no commands", "kxrdma"},
  };
  std::string input = "0\nsu opsu\n";
  for (const Refusal& row : rows) {
    input += std::string(row.words) + "\n";
  }
  const kx_system::Result result = kx_system::run({.input = input + "quit\n"});
  for (const Refusal& row : rows) {
    ++driven;
    EXPECT_TRUE(has_line(result.out + "\n" + result.err, row.cause, row.target))
        << row.words << " does not tell '" << row.cause << "' of '" << row.target << "'";
  }
  if (HasFailure()) {
    printf("%s--\n%s", result.out.c_str(), result.err.c_str());
  }
}

TEST_F(Refusals, OfAnUpdateNameTheCauseOfEachStatus) {
  const struct {
    int status;
    const char* cause;
    const char* target;
    const char* words;
    const char* identification;
    const char* card;
  } rows[] = {
      {2, "No such file", "/no/package", "/no/package", "TARN-FW-BOARDTYPE-2", "{}"},
      {2, "is another file", "update.pkg", "--sha256 0000000000000000000000000000000000000000000000000000000000000000",
       "TARN-FW-BOARDTYPE-2", "{}"},
      {3, "cause: ", "does not say which board type", "", "BOARDTYPE-2", "{}"},
      {3, "cause: ", "part number", "", "TARN-FW-BOARDTYPE-2", R"({"information": {"part_number_status": -9}})"},
      {4, "cause: ", "'EVB'", "", "TARN-FW-EVB-2", "{}"},
      {5, "the card refuses the update", "nothing was written", "", "TARN-FW-BOARDTYPE-2",
       R"({"update": {"authorises": false}})"},
      {7, "cause: ", "partition 3", "", "TARN-FW-BOARDTYPE-2", R"({"update": {"partition": 3}})"},
      {7, "cause: ", "cannot be heard", "", "TARN-FW-BOARDTYPE-2", R"({"faults": {"netlink": {"bind_errno": 98}}})"},
  };
  for (const auto& row : rows) {
    const update_run::Workplace work(1, row.identification);
    const std::string object = row.words[0] == '/' ? row.words : work.package + " " + row.words;
    const kx_system::Result result =
        kx_system::run({.card = row.card, .words = kx_system::words_of("fwupdate eth0 " + object)});
    expect_told(result, row.cause, row.cause, row.target);
    EXPECT_EQ(result.status, row.status) << row.cause << row.target;
  }
  const update_run::Workplace work;
  const kx_system::Result ordinary = kx_system::run(work.by_address("{}", false));
  expect_told(ordinary, "ordinary user", "cause: ", "super user may update");
  EXPECT_EQ(ordinary.status, 6);
}

TEST_F(Refusals, OfDevicesNameTheDevice) {
  const Refusal rows[] = {
      {"sn_info eht0 sn_info", "did you mean 'eth0'", "eht0"},
      {"sn_info enp1s0 sn_info", "eth0, eth1, eth2", "enp1s0"},
      {"sn_info lo sn_info", "belongs to no PCI function", "lo"},
      {"sn_info eth0/../eth1 sn_info", "is no network interface or PCI address", "eth0/../eth1"},
      {"sn_info eno1 sn_info", "is no function of such a card", "eno1"},
      {"sn_info eth2 sn_info", "is a virtual function: use a physical one (eth0, eth1)", "0000:3b:01.0"},
      {"fwupdate 3b:01.0 version", "is a virtual function", "0000:3b:01.0"},
      {"fwupdate 0000:00:1f.6 version", "is no function of such a card", "0000:00:1f.6"},
      {"sn_info 3b:00.0 sn_info", "takes the interface of", "eth0"},
      {"sn_info 0000:99:00.0 sn_info", "Failed to open resource file", "0000:99:00.0"},
      {"sn_info 3b:00.9 sn_info", "is no network interface or PCI address", "3b:00.9"},
      {"bind eno1 kxvqm glb version", "Bind to the pcie device", "0000:00:1f.6"},
      {"bind eht0 kxvqm glb version", "did you mean 'eth0'", "eht0"},
      {"bind 0000:99:00.0 kxvqm glb version", "Failed to open resource file", "0000:99:00.0"},
      {"-v eth9", "did you mean 'eth0'", "eth9"},
  };
  for (const Refusal& row : rows) {
    drive(row);
  }
}

TEST_F(Refusals, InTheShellNameTheLine) {
  const Refusal rows[] = {
      {"foo", "is unknown", "foo"},
      {"sn_info eth0 sn_info", "did you mean 'kxtool sn_info'", "sn_info"},
      {"kxtool kxnp", "without 'kxtool' before it", "kxnp"},
      {"kxpice cfg_dump", "did you mean 'kxpcie'", "kxpice"},
      {"quit now", "takes no words", "quit"},
      {"logout now", "takes no words", "logout"},
      {"su", "takes one word", "su"},
      {"su root", "is not the access word", "root"},
      {"help me", "is unknown", "me"},
      {"help sn_inf", "did you mean 'kxtool sn_info'", "sn_inf"},
      {"help quit now", "is no command", "now"},
      {"   ", "is no command", "blanks"},
      {"kxtool devmem eth0", "a value is missing", "devmem"},
      {"kxtool devmem eth0 npp 0", "did you mean 'np'", "npp"},
      {"kxtool devmem eth0 np", "address behind the unit is missing", "devmem"},
      {"kxtool devmem eth0 np 0 vla 1", "did you mean 'val'", "vla"},
      {"kxtool devmem eth0 np 0 len", "the number behind 'len' is missing", "devmem"},
      {"kxtool devmem eth0 np 0 val 1 --verfy", "only --verify may follow", "--verfy"},
      {"kxtool devmem eth0 np zero", "is no number", "zero"},
      {"kxtool devmem eth0 np 0 val 0x100000000", "is no number", "0x100000000"},
      {"kxtool devmem eth0 np 2", "is not a multiple of 4", "0x2"},
      {"kxtool devmem eth0 pcie 0x5000", "is no address of", "pcie"},
      {"kxtool devmem eth0 vqm 0 val 1 --verify", "does not hold what was written", "0x6208000000"},
      {"kxtool regsdump eth0", "'all' is missing", "regsdump"},
      {"kxtool regsdump eth0 all --fiel /tmp/x", "did you mean '--file'", "--fiel"},
      {"kxtool regsdump eth0 all --file /no/dir/x", "No such file or directory", "/no/dir/x"},
      {"kxtool regsdump eth0 all --file /dev/null", "cannot make", "/dev/null"},
      {"kxtool bl1 0000:3b:00.0 f", "not available in this build", "bl1"},
      {"kxpcie bar_read 1 0", "the function has no", "BAR 1"},
      {"kxpcie flr 0000:3b:00.1", "nothing was reset", "0000:3b:00.1"},
      {"kxpcie black_box /no/dir/x", "No such file or directory", "/no/dir/x"},
      {"kxpcie cfg_write 0xb0 0", "belongs to the tunnel", "0xb0"},
  };
  for (const Refusal& row : rows) {
    drive_super(row);
  }
}

TEST_F(Refusals, OfTheChoiceOfADeviceNameWhatWasTyped) {
  const struct {
    const char* input;
    const char* cause;
    const char* target;
  } rows[] = {
      {"9\n", "has no index", "9"},
      {"x\nx\nx\n", "maximum retrys reached", "Exiting"},
      {"123456789\n0x0\n-1\n", "maximum retrys reached", "Exiting"},
  };
  for (const auto& row : rows) {
    expect_told(kx_system::run({.input = row.input}), row.input, row.cause, row.target);
  }
}

TEST_F(Refusals, ThatTheCardCausesNameTheCause) {
  const struct {
    const char* card;
    Refusal refusal;
  } rows[] = {
      {R"({"faults": {"dead": true}})", {"sn_info eth0 sn_info", "does not answer", "0000:3b:00.0"}},
      {R"({"functions": {"0000:3b:00.0": {"power_state": 3}}})", {"sn_info eth0 sn_info", "D3hot", "0000:3b:00.0"}},
      {R"({"functions": {"0000:3b:00.0": {"power_capability": false}}})",
       {"sn_info eth0 sn_info", "does not tell whether", "0000:3b:00.0"}},
      {R"({"functions": {"0000:3b:00.0": {"interface": ""}}})", {"sn_info 3b:00.0 x", "driver", "0000:3b:00.0"}},
      {R"({"functions": {"0000:3b:00.0": {"interface": "eth0.1"}}})",
       {"sn_info eth0.1 x", "is not a devname", "eth0.1"}},
      {R"({"functions": {"0000:3b:00.0": {"absent_files": ["resource0"]}}})",
       {"sn_info eth0 sn_info", "open file", "0000:3b:00.0/resource0"}},
      {R"({"functions": {"0000:3b:00.0": {"absent_files": ["resource"]}}})",
       {"sn_info eth0 sn_info", "Failed to open resource file", "0000:3b:00.0"}},
      {R"({"functions": {"0000:3b:00.0": {"files": {"uevent": "DRIVER=x\n"}}}})",
       {"sn_info eth0 sn_info", "belongs to no PCI function", "eth0"}},
      {R"({"functions": {"0000:3b:00.0": {"vpd_capability": false}}})",
       {"bind eth0 kxpcie devmem 0", "pcie cap", "not find"}},
      {R"({"bar0": {"size": 4096}})", {"sn_info eth0 sn_info", "does not hold", "BAR 0"}},
      {R"({"bar0": {"compat": {"1": {"major": 1}}}})",
       {"sn_info eth0 sn_info", "Compatibility check failed", "sn_info"}},
      {R"({"bar0": {"compat": {"1": {"drv_minor": 1}}}})",
       {"diag eth0 all", "Compatibility check failed", "diag eth0 all"}},
      {R"({"information": {"serial_number_status": -5}})", {"sn_info eth0 sn_info", "sn get failed", "burn SN"}},
      {R"({"information": {"mac_count": 0}})", {"mac_info eth0 mac_info", "mac addr get failed", "= 0"}},
      {R"({"information": {"mac_status": 3}})", {"mac_info eth0 mac_info", "mac addr get failed", "mac_addr_get"}},
      {R"({"information": {"temperatures": [151]}})", {"temp_info eth0 chip_temp", "err chip temperature", "151"}},
      {R"({"information": {"temperature_statuses": [1]}})",
       {"temp_info eth0 chip_temp", "temp get failed", "status = 1"}},
      {R"({"faults": {"processor": {"requests": [{"op_code": 15, "result": 18}]}}})",
       {"sn_info eth0 sn_info", "tarn_tools_send_msg failed", "ret=18"}},
      {R"({"faults": {"driver": {"requests": [{"errno": 95}]}}})", {"sn_info eth0 sn_info", "failed", "ret="}},
      {R"({"faults": {"driver": {"requests": [{"type": 3, "errno": 95}]}}})",
       {"set_vf_status eth0 --mode all_vf --status auto", "check if the driver", "eth0"}},
      {R"({"faults": {"driver": {"requests": [{"type": 3, "status_flag": 2}]}}})",
       {"set_vf_status eth0 --mode all_vf --status auto", "ioctl to kernel failed", "kxtool_set_vf_status"}},
      {R"({"modules": {"eth0": {"absent": true}}})", {"link eth0 -m", "no module", "eth0"}},
      {R"({"modules": {"eth0": {"errno": 5}}})", {"link eth0 -m", "Input/output error", "eth0"}},
      {R"({"modules": {"eth0": {"bytes": {"0x95": "00"}}}})", {"link eth0 -m", "check sums", "eth0"}},
      {R"({"network_processor": {"registers": {"0x242004": 0}}})", {"diag eth0 np", "not ready", "car_init_done"}},
      {R"({"faults": {"tunnel": {"transfers": [{"from": 2, "flag_stuck": true}]}}})",
       {"diag eth0 np", "cannot be read", "np"}},
  };
  for (const auto& row : rows) {
    drive(row.refusal, row.card);
  }
}

TEST_F(Refusals, ThatTheFileSystemCausesNameThePlace) {
  const struct {
    const char* script;
    const char* cause;
    const char* target;
  } rows[] = {
      {"ln -s /etc/passwd /tmp/kxtool/kxts_lock_eth0; $KXTOOL sn_info eth0 sn_info", "try to open",
       "/tmp/kxtool/kxts_lock_eth0"},
      {"mkdir /tmp/kxtool/kxts_lock_eth0; $KXTOOL sn_info eth0 sn_info", "the lock of", "eth0"},
      {"mkdir -p /tmp/kx_pcie/pcie_catool_lockfile; $KXTOOL bind eth0 kxvqm glb version", "open lock_file failed", ""},
      {"$KXTOOL sn_info eth0 sn_info > /dev/full", "failed", "standard output"},
      {"$KXTOOL -h > /dev/full", "failed", "standard output"},
      {"$KXTOOL bind eth0 kxpcie cfg_dump 0 0x100 > /dev/full", "failed", "standard output"},
      {"$KXTOOL bind eth0 kxpcie addr_dump 0x6208000000 64 /dev/full", "cannot make", "/dev/full"},
      {": > /tmp/kxtool/empty; $KXTOOL fwupdate eth0 /tmp/kxtool/empty", "too short", "package"},
  };
  for (const auto& row : rows) {
    expect_told(kx_system::run(kx_system::script(row.script)), row.script, row.cause, row.target);
  }
}

}  // namespace
