// The room without namespaces: every call that names a path does there what it does where the card's folders are
// mounted, and no way leads to the host's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>

#include "system/process.h"

namespace {

/// Runs a command in a room of its own choice.
class Chosen {
 public:
  Chosen(const char* room, const char* trap) {
    setenv(kx_system::room_variable, room, 1);
    setenv(kx_system::trap_variable, trap, 1);
  }
  ~Chosen() {
    unsetenv(kx_system::room_variable);
    unsetenv(kx_system::trap_variable);
  }
};

constexpr const char* traps[] = {"notify", "ptrace"};

TEST(Paths, EveryCallDoesWhatItDoesOnMountedFolders) {
  const auto probe = [](const char* room, const char* trap) {
    const Chosen chosen(room, trap);
    return kx_system::run({.program = KX_PATH_PROBE});
  };
  const kx_system::Result mounted = probe("mount", "notify");
  if (mounted.status == 77) {
    GTEST_SKIP() << mounted.err;
  }
  EXPECT_EQ(mounted.status, 0) << mounted.err;
  EXPECT_GT(std::count(mounted.out.begin(), mounted.out.end(), '\n'), 60);
  for (const char* trap : traps) {
    const kx_system::Result answered = probe("paths", trap);
    EXPECT_EQ(answered.out, mounted.out) << trap;
    EXPECT_EQ(answered.status, 0) << answered.err;
  }
}

TEST(Paths, NoWayLeadsToTheHosts) {
  // Ways to the root folder and to /sys that are none of their names.
  const char* script = R"(
cd $T; ln -s /sys sys; ln -s ../../../../../../sys up; ln -s / root; ln -s /proc/self/root magic; mkdir -p a/b
ls=/bin/ls
for way in sys up root/sys magic/sys a/b/../../sys a/../root/./sys/../sys /proc/self/root/sys /proc/$$/root/sys \
           /proc/thread-self/root/sys /proc/$PPID/root/sys /./sys//bus/../../sys /usr/../sys /dev/../sys; do
  echo $way $($ls $way/bus/pci/devices 2>&1)
done
exec 5< /; echo fd $($ls /proc/self/fd/5/sys/bus/pci/devices); echo fd $($ls /dev/fd/5/sys/bus/pci/devices)
cd /; echo current $($ls sys/bus/pci/devices); cd sys; echo moved $($ls bus/pci/devices)
echo $($ls /sys/) $($ls /sys/class) $($ls /sys/devices 2>&1)
for file in /proc/bus/pci/devices /proc/kcore /proc/iomem $T/memory $T/disk; do
  head -c 1 $file > /dev/null 2>&1 && echo $file was read
done
chroot / true 2> /dev/null && echo chroot; unshare -m true 2> /dev/null && echo unshare
mount -t sysfs none $T/a 2> /dev/null && echo mount
echo x > /dev/null && head -c 1 /dev/zero | wc -c)";
  const kx_system::Folder folder;
  static_cast<void>(
      !system(("mknod " + folder.path() + "/memory c 1 1; mknod " + folder.path() + "/disk b 254 0").c_str()));
  const std::string list = " 0000:00:1f.6 0000:3a:00.0 0000:3b:00.0 0000:3b:00.1 0000:3b:01.0";
  for (const char* trap : traps) {
    const kx_system::Folder place;
    std::string text = script;
    text = "T=" + folder.path() + "; pid=$$\n" + text;
    static_cast<void>(
        !system(("rm -rf " + folder.path() + "/[aru]* " + folder.path() + "/sys " + folder.path() + "/magic").c_str()));
    const Chosen chosen("paths", trap);
    const kx_system::Result result = kx_system::run(kx_system::script(text));
    size_t ways = 0;
    std::string rest;
    std::istringstream told(result.out);
    for (std::string line; std::getline(told, line);) {
      if (line.ends_with(list)) {
        ++ways;
      } else {
        rest += line + "\n";
      }
    }
    EXPECT_EQ(ways, 17u) << trap << "\n" << result.out << result.err;
    EXPECT_THAT(rest, testing::MatchesRegex("bus class [^\n]*\n1\n")) << trap;
  }
}

}  // namespace
