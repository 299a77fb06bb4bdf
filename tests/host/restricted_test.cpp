// The main job on machines that allow less: the room and trap that are found there, and that all of them do it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

#include "system/process.h"

namespace {

using testing::StartsWith;

struct Ran {
  int status;
  std::string out;
  std::string err;
};

Ran shell(const std::string& line) {
  const kx_system::Folder folder;
  FILE* stream = popen((line + " 2> " + folder.path() + "/err").c_str(), "re");
  Ran ran = {};
  std::array<char, 4096> block;
  while (size_t length = fread(block.data(), 1, block.size(), stream)) {
    ran.out.append(block.data(), length);
  }
  const int status = pclose(stream);
  ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  ran.err = kx_system::Folder::read(folder.path() + "/err");
  return ran;
}

TEST(Restricted, TheMainJobRunsWhereverTheCardFindsARoom) {
  struct {
    const char* words;
    const char* found;  // of room and trap, "" when they are the first
  } const machines[] = {
      {"", ""},
      {"small", ""},
      {"chroot", ""},
      {"no-reaper", ""},
      {"no-notify", "room mount, trap ptrace ("},
      {"no-notify no-filter", "room mount, trap ptrace ("},
      {"no-capability", "room user, trap notify ("},
      {"no-capability no-namespaces", "room paths, trap notify ("},
      {"no-capability no-namespaces no-notify", "room paths, trap ptrace ("},
      {"no-capability no-namespaces no-filter", "room paths, trap ptrace ("},
      {"no-sys", "room paths, trap notify ("},
      {"no-sys no-capability no-namespaces no-notify small", "room paths, trap ptrace ("},
  };
  if (geteuid() != 0 ||
      shell(KX_RESTRICTED " no-capability -- " KX_SYSTEM_KXVCARD " --room mount -- true").status != 77) {
    GTEST_SKIP() << "this machine does not let itself be restricted";
  }
  for (const auto& machine : machines) {
    SCOPED_TRACE(machine.words);
    const std::string restricted = std::string(KX_RESTRICTED " ") + machine.words + " -- ";
    if (const Ran possible = shell(restricted + "true"); possible.status == 77) {
      continue;
    }
    const std::string found = machine.found;
    const std::string options = found.find("trap ptrace") == std::string::npos ? "" : kx_system::traced_leak_options;
    const Ran ran = shell("LSAN_OPTIONS=" + options + " " + restricted +
                          KX_SYSTEM_KXVCARD " -- " KX_SYSTEM_KXTOOL " sn_info eth0 sn_info");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "sn=KX2601A00042\n");
    EXPECT_THAT(ran.err, StartsWith(found.empty() ? "" : "kxvcard: " + found));
    EXPECT_EQ(std::count(ran.err.begin(), ran.err.end(), '\n'), found.empty() ? 0 : 1) << ran.err;
  }
}

TEST(Restricted, AForcedRoomThatIsRefusedSaysWhy) {
  const Ran ran = shell(KX_RESTRICTED " no-capability no-namespaces -- " KX_SYSTEM_KXVCARD " --room user -- true");
  EXPECT_EQ(ran.status, 77);
  EXPECT_THAT(ran.err, testing::MatchesRegex("kxvcard: the host has no room for a card [(]user: [^\n]*[)]\n"));
}

}  // namespace
