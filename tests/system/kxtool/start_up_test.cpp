// Start-up of the maintenance commands: every refusal, with nothing sent to the card after it, the run lock, and
// interrupts.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "system/cases.h"

namespace {

using namespace kx_system;

const std::string BAD_ARGUMENTS = "kxtool: bad command line argument(s)\nFor more information run kxtool -h\n";

std::string function(const std::string& keys) {
  return R"({"functions": {"0000:3b:00.0": {)" + keys + "}}}";
}

TEST(StartUp, RefusalsPrintTheirLineAndSendNothing) {
  const std::string d3hot = "Device 0000:3b:00.0 power state is D3hot!\n";
  const auto asleep = [](const char* name) {
    return "kxtool: " + std::string(name) + " was not run: 0000:3b:00.0 sleeps, or does not tell whether it does\n";
  };
  const auto no_word = [](const char* name) {
    return BAD_ARGUMENTS + "kxtool: " + name + " needs a device behind it: '" + name + " -h' shows its words\n";
  };
  const std::string virtual_function = "0000:3b:01.0 is a virtual function: use a physical one (eth0, eth1)\n";
  const Case cases[] = {
      {"{}", "sn_info", 1, "", no_word("sn_info")},
      {"{}", "fwupdate", 1, "", no_word("fwupdate")},
      {function(R"("interface": "eth0.1")"), "sn_info eth0.1 sn_info", 1,
       "kxtools_err: [device_acquire][#] 'eth0.1' is not a devname or domain:bus:device:function format!\n"},
      {"{}", "sn_info eno1 sn_info", 1, "Warning: No firmware compatibility information available!\n",
       "kxtool: eno1 is no function of such a card\n"},
      {R"({"functions": {"0000:00:1f.6": {"absent_files": ["resource0", "resource"]}}})", "sn_info eno1 sn_info", 1,
       "Warning: No firmware compatibility information available!\n", "kxtool: eno1 is no function of such a card\n"},
      {"{}", "sn_info eth2 sn_info", 1, "", "kxtool: eth2: " + virtual_function},
      {"{}", "fwupdate 0000:3b:01.0 version", 1, "", "kxtool: " + virtual_function},
      {R"({"faults": {"dead": true}})", "sn_info eth0 sn_info", 1,
       "Warning: No firmware compatibility information available!\n"
       "kxtools_err: [kxtool_devname_is_kelpf][#] Device 0000:3b:00.0 does not answer!\n"},
      {function(R"("power_state": 3)"), "sn_info eth0 sn_info", 1, d3hot, asleep("sn_info")},
      {function(R"("power_state": 3)"), "fwupdate 0000:3b:00.0 version", 1, d3hot, asleep("fwupdate")},
      {function(R"("power_state": 3, "driver": "vfio-pci")"), "fwupdate 0000:3b:00.0 version", 1,
       d3hot + "Device 0000:3b:00.0 is bound to VFIO driver.\n", asleep("fwupdate")},
      {function(R"("power_capability": false)"), "sn_info eth0 sn_info", 1, "pcie cap[0x1] not find\n",
       asleep("sn_info")},
      {function(R"("interface": "")"), "sn_info 3b:00.0 sn_info", 1,
       "kxtools_err: [device_acquire][#] The command does not yet support BDF type!\n",
       "kxtool: sn_info takes an interface, and 0000:3b:00.0 has none: is its driver loaded?\n"},
      {"{}", "nvme eth0 x", 1,
       "kxtools_err: [kxtool_init][#] 'nvme' is not available in this build: it lacks the card's protocol for it\n",
       "kxtool: in place of nvme: kxpcie, bound to the accelerator's function, shows its PCIe side\n"},
      {"{}", "repair p", 1,
       "kxtools_err: [kxtool_init][#] 'repair' is not available in this build: it lacks the card's protocol for it\n",
       "kxtool: in place of repair: a card that still answers takes fwupdate by its PCI address, at super-user level "
       "in "
       "the shell\n"},
  };
  for (const Case& c : cases) {
    const auto result = check(c);
    EXPECT_THAT(result.log_of("ioctl"), IsEmpty());
    EXPECT_THAT(result.log_of("mailbox"), IsEmpty());
  }
}

TEST(StartUp, OtherPowerStatesAreAwake) {
  for (const char* state : {"0", "1", "2"}) {
    check({function(std::string(R"("power_state": )") + state), "sn_info eth0 sn_info", 0, "sn=KX2601A00042\n"});
  }
}

TEST(StartUp, HelpNeedsNoDevice) {
  const std::string card = function(R"("present": false)");
  const Case cases[] = {
      {card, "log -h", 0, StartsWith("    COMMAND:\n        fget|log\n")},
      {card, "fwupdate --help", 0, StartsWith("    COMMAND:\n        -f|-fw|fwupdate\n")},
      {card, "-h", 0,
       AllOf(StartsWith("NAME:\n    kxtool\n    SYNOPSIS:\n        kxtool <command> <device> [OPTIONS]\n"
                        "    DESCRIPTION:\n"),
             HasSubstr("\n        sn_info          kxtool sn_info <device> sn_info\n"), HasSubstr("\n        hwread\n"),
             Not(HasSubstr("regsdump")))},
      {card, "hwread -h", 0, StartsWith("NAME:\n    kxtool\n"),
       MatchesRegex("    COMMAND:\n        hwread\n.*Not in this build. In its place: .*\n")},
      {card, "--version", 0, MatchesRegex("kxtool [0-9.]+\nbuilt on [-0-9]+ [0-9:]+ with .+\n")},
  };
  for (const Case& c : cases) {
    EXPECT_THAT(check(c).log, IsEmpty());
  }
}

TEST(Bind, RunsOneCommandOfAModuleAgainstADevice) {
  const std::string failed = "Command exec failed!\n";
  const std::string err = "kxtools_err: [kxtool_bind][#] ";
  const std::string modules = "kxnp, kxpcie, kxvqm, kxtrace_app, kxbttl, kxrdma\n";
  check_all({
      {"{}", "bind eth0", 255,
       err + "argc = 1, argp is NULL, argp[0] is NULL, argp[1] is NULL\nkxtool bind eth0: " + failed,
       "kxtool: bind needs a device, a module and its command: 'kxtool bind -h' shows how\n"},
      {"{}", "bind eth0 kxvqn", 255, err + "kxtools_cmd_index_get failed!\nkxtool bind eth0 kxvqn: " + failed,
       "kxtool: 'kxvqn' is no module: did you mean 'kxvqm'?\n"},
      {"{}", "bind eth0 kxtool -v", 255, err + "module_id is 0, error!\nkxtool bind eth0 kxtool -v: " + failed,
       "kxtool: 'kxtool' is no module: there are " + modules},
      {"{}", "bind eth0 quit", 255, err + "module_id is 9, error!\nkxtool bind eth0 quit: " + failed,
       "kxtool: 'quit' is no module: there are " + modules},
      {"{}", "bind eth0 kxrdma x", 255,
       "kxtools_err: [kxtools_module_help][#] para is err!\nkxrdma x: " + failed + err +
           "kxtools_cmd_execute failed\nkxtool bind eth0 kxrdma x: " + failed,
       "kxtool: 'kxrdma' has no commands in this build\n"},
  });
}

// --- the run lock

class RunLock : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(locks_);
  }
  Result shell(const std::string& text) {
    Command command = script(text);
    command.state = state_;
    return run(command);
  }
  const Folder folder_;
  // A kept state folder, in which the test prepares the lock folder of the runs.
  const std::string state_ = folder_ / "state";
  const std::string locks_ = state_ + "/tmp/kxtool";
};

TEST_F(RunLock, PlantedNameIsRefusedAndLeftAlone) {
  const std::string victim = folder_.write("victim", "untouched");
  ASSERT_EQ(symlink(victim.c_str(), (locks_ + "/kxts_lock_eth0").c_str()), 0);
  const auto result =
      check({"{}", "sn_info eth0 sn_info", 1,
             "kxtools_err: [report_failure][#] fopen err! try to open /tmp/kxtool/kxts_lock_eth0 err ! \n ",
             "kxtool: sn_info was not run: the lock of eth0 cannot be had\n"},
            {.state = state_});
  EXPECT_THAT(result.log_of("ioctl"), IsEmpty());
  EXPECT_EQ(Folder::read(victim), "untouched");
}

// A temporary folder of its own stands in for one in which somebody prepared the places of both locks; the tool is
// reached by a descriptor, wherever it lies.
TEST_F(RunLock, FoldersThatAreNoneAreRefused) {
  const std::string stat_failed =
      "kxtools_err: [report_failure][#] stat failed KXTS_LOCK_PATH /tmp/kxtool: errno20\n1\n";
  const std::string bind_failed =
      "kxtools_err: [kxtools_dev_bind][#] bind_pcie_dev_by_sbdf failed\n"
      "kxtools_err: [kxtools_dev_init][#] kxtools_dev_bind failed\n"
      "kxtool bind eth0 kxvqm glb version: Command exec failed!\n255\n";
  struct {
    const char* prepare;
    std::string run_lock;
    const char* pcie_lock;
  } const cases[] = {
      {"touch /tmp/kxtool /tmp/kx_pcie", stat_failed, "create kxpcie_log dir failed\n"},
      {"ln -s /etc /tmp/kxtool; ln -s /etc /tmp/kx_pcie", stat_failed, "create kxpcie_log dir failed\n"},
      {"mount -o remount,ro /tmp",
       "kxtools_err: [report_failure][#] mkdir failed KXTS_LOCK_PATH /tmp/kxtool: errno30\n1\n",
       "create kxpcie_log dir failed\n"},
      {"mkdir /tmp/kxtool /tmp/kx_pcie; mkfifo /tmp/kxtool/kxts_lock_eth0 /tmp/kx_pcie/pcie_catool_lockfile",
       "kxtools_err: [report_failure][#] fopen err! try to open /tmp/kxtool/kxts_lock_eth0 err ! \n 1\n",
       "open lock_file failed\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.prepare);
    const auto result = shell(std::string("exec 9< $KXTOOL; mount -t tmpfs none /tmp || exit 77; ") + c.prepare +
                              "; tool=/proc/$$/fd/9; $tool sn_info eth0 sn_info; echo $?; "
                              "$tool bind eth0 kxvqm glb version; echo $?");
    if (result.status == 77) {
      GTEST_SKIP() << "a folder cannot be mounted here: " << result.err;
    }
    EXPECT_EQ(without_line_numbers(result.out), c.run_lock + c.pcie_lock + bind_failed);
    EXPECT_THAT(result.log_of("ioctl"), IsEmpty());
  }
}

TEST_F(RunLock, IsNamedByTheFirstSevenCharactersOfTheDevice) {
  check({function(R"("interface": "enp59s0f0np0")"), "sn_info enp59s0f0np0 sn_info", 0, "sn=KX2601A00042\n"},
        {.state = state_});
  EXPECT_EQ(access((locks_ + "/kxts_lock_enp59s0").c_str(), F_OK), 0);
  run({.words = {"fwupdate", "0:3B:00.1", "version"}, .state = state_});
  struct stat info = {};
  ASSERT_EQ(stat((locks_ + "/kxts_lock_0000:3b").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0777u);
}

TEST_F(RunLock, ASecondToolWaitsForTheFirst) {
  const auto result = shell(
      "flock /tmp/kxtool/kxts_lock_eth0 sleep 1 & sleep 0.3; "
      "date +%s%N; $KXTOOL sn_info eth0 sn_info; echo $?; date +%s%N; "
      "$KXTOOL sn_info eth1 sn_info; wait");
  long long before = 0;
  long long after = 0;
  ASSERT_EQ(sscanf(result.out.c_str(), "%lld\nsn=KX2601A00042\n0\n%lld\nsn=KX2601A00042\n", &before, &after), 2)
      << result.out;
  EXPECT_GT(after - before, 400'000'000);
}

// A command by eth0 that never ends shares the card with `besides`, and is killed when these let the script end.
Result beside_one_that_asks(const std::string& besides, const std::string& functions = "") {
  const Folder folder;
  return run(
      script("cd " + folder.path() +
                 "; lock=/tmp/kxtool/kxts_card_0000:3a:00.0; $KXTOOL mac_info eth0 mac_info > first & first=$!; "
                 "until [ -e $lock ] && grep -q $(printf '%02x:%02x:%d' $(stat -c '%Hd %Ld %i' $lock)) /proc/locks; do "
                 "sleep 0.05; done; " +
                 besides + "; pkill -9 -P $first; wait; cat out",
             R"({"functions": {)" + functions +
                 R"(}, "faults": {"processor": {"requests": [{"op_code": 9, "never_answers": true}]}}})"));
}

// One port is asked while another one is; nobody waits.
TEST_F(RunLock, PortsOfOneCardAreAskedSideBySide) {
  const auto result = beside_one_that_asks("{ $KXTOOL sn_info eth1 sn_info; $KXTOOL fwupdate eth1 part; } > out");
  EXPECT_EQ(result.out, "sn=KX2601A00042\nactive partition: 1\n");
  EXPECT_EQ(result.err, "");
}

// There is one mailbox, and a reset takes what others work with.
TEST_F(RunLock, MailboxAndResetWaitForTheCard) {
  const std::string until_waits = " > out 2>&1 & until grep -q waiting out; do sleep 0.05; done";
  const std::string waits = "waiting for process [0-9]+ \\([^\n]*mac_info[^\n]*\\), which holds [^\n]*0000:3a:00.0\n";
  EXPECT_THAT(beside_one_that_asks("$KXTOOL fwupdate 0000:3b:00.1 part" + until_waits).out,
              ContainsRegex(waits + "Warning: This command is not supported"));
  EXPECT_THAT(beside_one_that_asks("printf '1\\nsu opsu\\nkxpcie flr 0000:3b:00.1\\nquit\\n' | $KXTOOL" + until_waits,
                                   R"("0000:3b:00.1": {"driver": ""})")
                  .out,
              ContainsRegex(waits + "0000:3b:00.1 was reset"));
}

TEST_F(RunLock, OfACardIsNeverAPlantedFile) {
  const auto result = run(
      script("ln -s /tmp/none /tmp/kxtool/kxts_card_0000:3a:00.0; $KXTOOL sn_info eth0 sn_info; echo $?; ls /tmp/none; "
             "rm /tmp/kxtool/kxts_card_0000:3a:00.0; $KXTOOL sn_info eth0 sn_info; stat -c %a /tmp/kxtool "
             "/tmp/kxtool/kxts_card_0000:3a:00.0"));
  EXPECT_EQ(result.out, "1\nsn=KX2601A00042\n1777\n600\n");
  EXPECT_THAT(result.err, StartsWith("the lock /tmp/kxtool/kxts_card_0000:3a:00.0 cannot be opened: Too many levels"));
}

TEST_F(RunLock, IsGivenBackByAKilledTool) {
  EXPECT_EQ(beside_one_that_asks("pkill -9 -P $first; wait; $KXTOOL sn_info eth0 sn_info > out").out,
            "sn=KX2601A00042\n");
}

// --- the shell's side of a child

/// Runs a command that gets no answer, sends `number` to its child, and to the parent too, and waits for the end.
Result hanging_command_end(int number, bool to_both) {
  Process tool({.card = R"({"faults": {"processor": {"requests": [{"op_code": 15, "never_answers": true}]}}})",
                .words = {"sn_info", "eth0", "sn_info"}});
  EXPECT_TRUE(tool.expect_log("payload=0f000000"));
  const std::vector<pid_t> processes = tool.tools();
  EXPECT_EQ(processes.size(), 2u);
  for (size_t i = to_both ? 0 : 1; i < processes.size(); ++i) {
    EXPECT_EQ(kill(processes[i], number), 0);
  }
  return tool.wait();
}

TEST(Child, ACommandThatIsKilledIsReported) {
  EXPECT_EQ(without_line_numbers(hanging_command_end(SIGKILL, false).out),
            "kxtools_err: [child_wait][#] the command was ended by signal 9\n");
}

TEST(Child, AnInterruptIsNoSuccess) {
  const Result result = hanging_command_end(SIGINT, true);
  EXPECT_EQ(result.status, 130);
  EXPECT_EQ(result.err, "kxtool: interrupted\n");
}

TEST(Child, AForkThatFailsIsOneLineAndASuccess) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "takes another user's process limit";
  }
  const auto result =
      run({.words = {"--reuid", "54321", "--clear-groups", "prlimit", "--nproc=1", KX_SYSTEM_KXTOOL, "-v"},
           .program = "setpriv",
           // The leak check of a sanitized build forks, too.
           .environment = {"ASAN_OPTIONS=detect_leaks=0"}});
  if (!result.err.empty()) {
    GTEST_SKIP() << "another user cannot run the tool here: " << result.err;
  }
  EXPECT_EQ(without_line_numbers(result.out), "kxtools_err: [kxtool_cmd][#] fork failed.\n");
  EXPECT_EQ(result.status, 0);
}

}  // namespace
