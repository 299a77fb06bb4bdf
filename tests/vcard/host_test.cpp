// What kxvcard does to the host and to its command: the private view, exit statuses, signals, nothing left behind.

#include <dirent.h>
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "system/process.h"

namespace {

using kx_system::script;
using testing::HasSubstr;

TEST(Host, TheCommandSeesTheCardInSysfs) {
  kx_system::Result result = kx_system::run(script(R"(
cd /sys/bus/pci/devices; echo *; cat 0000:3b:00.0/vendor 0000:3b:00.0/device 0000:3b:00.0/class
head -n 2 0000:3b:00.0/resource; readlink 0000:3b:00.0/driver; cat 0000:3b:00.0/power_state
wc -c < 0000:3b:00.0/config; stat -c %s 0000:3b:00.0/resource0; test -e 0000:3a:00.0/resource0 || echo switch
cd /sys/class/net; echo *; cat eth1/device/uevent; readlink eth0/device eth0
cd /sys/bus/pci/devices; readlink 0000:3b:01.0 0000:3b:01.0/physfn 0000:3b:00.0/virtfn0; wc -l < 0000:3a:00.0/resource
sed -n 8p 0000:3b:00.0/resource; sed -n 1p 0000:3b:01.0/resource; cat 0000:3b:00.0/sriov_totalvfs
stat -c %a 0000:3b:00.0/vendor 0000:3b:00.0/config 0000:3b:00.0/resource0_wc 0000:3b:00.0/vpd 0000:3b:00.0/reset
for f in 0000:3b:00.0 0000:3b:01.0; do od -An -tx4 -j0 -N20 -w20 $f/config; done)"));
  EXPECT_EQ(
      result.out,
      "0000:00:1f.6 0000:3a:00.0 0000:3b:00.0 0000:3b:00.1 0000:3b:01.0\n"
      "0x1cf2\n0x8037\n0x020000\n"
      "0x0000380000000000 0x0000380003ffffff 0x000000000014220c\n"
      "0x0000000000000000 0x0000000000000000 0x0000000000000000\n"
      "../../../../drivers/corvane10e\nD0\n4096\n67108864\nswitch\n"
      "eno1 eth0 eth1 eth2 lo\n"
      "DRIVER=corvane10e\nPCI_CLASS=20000\nPCI_ID=1AF4:1041\nPCI_SUBSYS_ID=1AF4:1041\nPCI_SLOT_NAME=0000:3b:00.1\n"
      "MODALIAS=pci:v00001AF4d00001041sv00001AF4sd00001041bc02sc00i00\n"
      "../../../0000:3b:00.0\n../../bus/pci/.devices/pci0000:3a/0000:3a:00.0/0000:3b:00.0/net/eth0\n"
      "../.devices/pci0000:3a/0000:3a:00.0/0000:3b:01.0\n../0000:3b:00.0\n../0000:3b:01.0\n17\n"
      "0x0000380004000000 0x0000380403ffffff 0x000000000014220c\n"
      "0x0000380020000000 0x0000380023ffffff 0x000000000014220c\n256\n"
      "444\n644\n600\n600\n200\n"
      " 80371cf2 00100006 02000001 00800000 0000000c\n"
      " ffffffff 00100004 02000001 00000000 00000000\n");
  EXPECT_EQ(result.err, "");
}

TEST(Host, TheCardFileChangesTheTree) {
  kx_system::Result result = kx_system::run(script(R"(
cd /sys/bus/pci/devices; echo *; cd 0000:3b:00.0; cat resource uevent power_state; readlink driver
wc -c < config; test -e resource0 || echo gone; cat /sys/bus/pci/devices/0000:5e:00.0/device; ls /sys/class/net)",
                                                   R"({"functions": {
  "0000:3b:00.0": {"files": {"resource": "garbage\n", "uevent": "DRIVER=x\n"}, "absent_files": ["resource0"],
                   "driver": "vfio-pci", "power_state": 3, "config_size": 64},
  "0000:5e:00.0": {"device": "0x8099", "interface": "enp94s0"},
  "0000:3b:00.1": {"present": false}, "0000:3b:01.0": {"present": false}, "0000:00:1f.6": {"present": false}}})"));
  EXPECT_EQ(result.out,
            "0000:3a:00.0 0000:3b:00.0 0000:5e:00.0\n"
            "garbage\nDRIVER=x\nD3hot\n../../../../drivers/vfio-pci\n64\ngone\n0x8099\nenp94s0\neth0\nlo\n");
  EXPECT_EQ(result.err, "");
}

TEST(Host, TheKernelsFilesResetAndRemoveAFunction) {
  kx_system::Result result = kx_system::run(script(R"(
cd /sys/bus/pci/devices; f=0000:3b:00.0; od -An -tx4 -v $f/config > /tmp/kxtool/before
echo 1 > $f/reset && od -An -tx4 -v $f/config | cmp - /tmp/kxtool/before && echo same
echo 0 > $f/reset || echo refused; echo 1 > 0000:3b:00.1/reset || echo away
echo 1 > $f/remove; ls -d $f /sys/class/net/eth0 ../drivers/corvane10e/$f || echo gone; echo *)",
                                                   R"({"functions": {"0000:3b:00.1": {"reset_returns": false}}})"));
  EXPECT_EQ(result.out, "same\nrefused\naway\ngone\n0000:00:1f.6 0000:3a:00.0 0000:3b:00.1 0000:3b:01.0\n");
  EXPECT_THAT(result.log,
              testing::ElementsAre("function_reset function=0000:3b:00.0", "function_reset function=0000:3b:00.1"));
}

TEST(Host, AnOrdinaryUserSees64BytesAndNoBar) {
  kx_system::Result result =
      kx_system::run(script("cd /sys/bus/pci/devices/0000:3b:00.0; wc -c < config; stat -c %a config resource0",
                            R"({"host": {"ordinary_user": true}})"));
  EXPECT_EQ(result.out, "64\n444\n0\n");
}

TEST(Host, TheExitStatusIsTheCommands) {
  EXPECT_EQ(kx_system::run(script("exit 5")).status, 5);
  EXPECT_EQ(kx_system::run(script("kill -SEGV $$")).status, 128 + SIGSEGV);
  EXPECT_EQ(kx_system::run({.program = "/no/such/program"}).status, 127);
  EXPECT_EQ(kx_system::run({.program = "/etc/passwd"}).status, 126);
}

TEST(Host, ABadCardFileIsRefusedBeforeTheCommandRuns) {
  kx_system::Result result =
      kx_system::run(script("echo ran", R"({"faults": {"driver": {"reqests": []}}, "bar0": 5})"));
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("card.json: bar0: not an object\n"));
  EXPECT_THAT(result.err, HasSubstr("card.json: faults.driver.reqests: unknown key\n"));
}

TEST(Host, EveryKeyOfTheExampleIsKnown) {
  kx_system::Result result = kx_system::run(script("echo ran", kx_system::Folder::read(VCARD_EXAMPLE)));
  EXPECT_EQ(result.out, "ran\n");
  EXPECT_EQ(result.err, "");
}

TEST(Host, OneVirtualCardDoesNotRunInsideAnother) {
  if (const char* trap = getenv(kx_system::trap_variable); trap != nullptr && std::string(trap) == "ptrace") {
    GTEST_SKIP() << "the inner one hears its calls before the outer one is asked";
  }
  kx_system::Result result = kx_system::run({.words = {"--", "true"}, .program = KX_SYSTEM_KXVCARD});
  EXPECT_EQ(result.status, 77);
  EXPECT_THAT(result.err, testing::MatchesRegex("kxvcard: the kernel does not hand over system calls [^\n]*\n"));
}

/// An ordinary user needs a user namespace first. Skipped when this is no root or the user cannot reach the programs.
TEST(Host, AnOrdinaryUserCanRunIt) {
  constexpr unsigned nobody = 65534;
  fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) {
    if (geteuid() != 0 || setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0 || chdir("/") != 0 ||
        access(KX_SYSTEM_KXVCARD, X_OK) != 0 || access(VCARD_PROBE, X_OK) != 0) {
      _exit(77);
    }
    execl(KX_SYSTEM_KXVCARD, "kxvcard", "--", "/bin/sh", "-c",
          VCARD_PROBE
          " ioctl eth0 1 39 0f000000 29 , bar 0000:3b:00.0 , mailbox 7 39 0000000000000000 |"
          " grep -q header=08 && touch /tmp/kxtool/x",
          nullptr);
    _exit(1);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 77) {
    GTEST_SKIP() << "an ordinary user cannot run kxvcard here";
  }
  EXPECT_EQ(status, 0);
}

TEST(Host, LockAndLogFoldersArePrivateUnlessTheyAreKept) {
  const char* text =
      "echo 1 > /tmp/kxtool/mine; echo 2 > /tmp/kx_pcie/mine; mkdir /var/log/kxtool; "
      "echo 3 > /var/log/kxtool/mine; cat /tmp/kxtool/mine /tmp/kx_pcie/mine /var/log/kxtool/mine";
  kx_system::Result result = kx_system::run(script(text));
  EXPECT_EQ(result.out, "1\n2\n3\n");
  EXPECT_EQ(kx_system::Folder::read("/tmp/kxtool/mine"), "");

  kx_system::Folder state;
  kx_system::Command command = script(text);
  command.state = state.path();
  EXPECT_EQ(kx_system::run(command).out, "1\n2\n3\n");
  EXPECT_EQ(kx_system::Folder::read(state.path() + "/tmp/kxtool/mine"), "1\n");
  EXPECT_EQ(kx_system::Folder::read(state.path() + "/tmp/kx_pcie/mine"), "2\n");
  EXPECT_EQ(kx_system::Folder::read(state.path() + "/log/kxtool/mine"), "3\n");
}

TEST(Host, SignalsReachTheCommand) {
  for (int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR1}) {
    kx_system::Process process(
        script("trap 'echo got; exit 9' TERM INT HUP USR1; echo ready; while :; do sleep 0.01; done"));
    ASSERT_TRUE(process.expect("ready\n"));
    process.signal(number);
    kx_system::Result result = process.wait();
    EXPECT_EQ(result.out, "ready\ngot\n") << number;
    EXPECT_EQ(result.status, 9) << number;
  }
}

TEST(Host, AnInterruptOnTheTerminalReachesTheCommandOnce) {
  kx_system::Command command = script(
      "trap 'echo got; n=$((n+1))' INT; n=0; echo ready; "
      "while [ $n -lt 1 ]; do sleep 0.01; done; sleep 0.1; echo n=$n; exit 3");
  command.terminal = true;
  kx_system::Process process(command);
  ASSERT_TRUE(process.expect("ready"));
  process.send("\x03");
  EXPECT_TRUE(process.expect("n=1")) << process.output();
  EXPECT_EQ(process.wait().status, 3);
}

/// The state letter of a process; one that nobody has waited for yet ("Z") counts as gone.
char state_of(pid_t pid) {
  const std::string text = kx_system::Folder::read("/proc/" + std::to_string(pid) + "/stat");
  const size_t name_end = text.rfind(')');
  return name_end != std::string::npos && name_end + 2 < text.size() ? text[name_end + 2] : 'Z';
}

bool dies(pid_t pid) {
  for (int i = 0; i < 500 && state_of(pid) != 'Z'; ++i) {
    usleep(10000);
  }
  return state_of(pid) == 'Z';
}

/// The only child of `parent`.
pid_t child_of(pid_t parent) {
  std::string text =
      kx_system::Folder::read("/proc/" + std::to_string(parent) + "/task/" + std::to_string(parent) + "/children");
  return static_cast<pid_t>(strtol(text.c_str(), nullptr, 10));
}

TEST(Host, NothingIsLeftWhenEitherProcessIsKilled) {
  enum Victim { outer, inner };
  for (Victim victim : {outer, inner}) {
    kx_system::Process process(script("sleep 100 & setsid sleep 100 & echo $$ $!; exec sleep 100"));
    ASSERT_TRUE(process.expect("\n"));
    int command = 0, background = 0;
    ASSERT_EQ(sscanf(process.output().c_str(), "%d %d", &command, &background), 2);
    pid_t server = child_of(process.pid());
    ASSERT_GT(server, 0);
    kill(victim == outer ? process.pid() : server, SIGKILL);
    EXPECT_EQ(process.wait().status, 128 + SIGKILL);
    EXPECT_TRUE(dies(server));
    EXPECT_TRUE(dies(command));
    EXPECT_TRUE(dies(background));
  }
}

TEST(Host, AStoppedProcessStaysStoppedAndGoesOn) {
  // In a group that no shell looks after, as under the first process of a container, the kernel would drop TSTP.
  kx_system::Process process(
      script("exec bash -c 'set -m; (echo $BASHPID; kill -STOP $BASHPID; echo on; kill -TSTP $BASHPID; echo end) & "
             "wait -f $!; exit 0'"));
  ASSERT_TRUE(process.expect("\n"));
  const pid_t command = static_cast<pid_t>(strtol(process.output().c_str(), nullptr, 10));
  for (const char* next : {"on\n", "end\n"}) {
    for (int i = 0; i < 500 && state_of(command) != 'T' && state_of(command) != 't'; ++i) {
      usleep(10000);
    }
    EXPECT_FALSE(process.expect(next, kx_system::milliseconds(100)));
    kill(command, SIGCONT);
    EXPECT_TRUE(process.expect(next));
  }
  EXPECT_EQ(process.wait().status, 0);
}

TEST(Host, BackgroundProcessesEndWithTheCommand) {
  kx_system::Result result = kx_system::run(script("setsid sleep 100 > /dev/null 2>&1 & echo $!"));
  EXPECT_TRUE(dies(static_cast<pid_t>(strtol(result.out.c_str(), nullptr, 10))));
}

}  // namespace
