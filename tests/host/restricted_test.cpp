// The main job on machines that allow less: the room and trap that are found there, and that all of them do it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <regex>
#include <string>

#include "printed.h"
#include "system/process.h"

namespace {

struct Ran {
  int status;
  std::string out;
  std::string err;
};

Ran shell(const std::string& line) {
  const kx_system::Folder folder;
  const command_outcome ran = command_run(line + " 2> " + folder / "err");
  return {ran.status, ran.out, kx_system::Folder::read(folder / "err")};
}

/// The room and the trap that the card says it found; the first ones are not worth a line.
struct Place {
  std::string room = "mount";
  std::string trap = "notify";
};

Place found_place(const std::string& err) {
  Place place;
  std::smatch said;
  if (std::regex_search(err, said, std::regex("kxvcard: room ([a-z]+), trap ([a-z]+) [(]"))) {
    place = {said[1], said[2]};
  }
  return place;
}

/// What comes later in the card's order: a machine that is restricted already (a container) has no earlier place.
std::string later(const std::string& first, const std::string& second) {
  const std::string order = "mount user paths notify ptrace";
  return order.find(first) < order.find(second) ? second : first;
}

TEST(Restricted, TheMainJobRunsWhereverTheCardFindsARoom) {
  struct {
    const char* words;
    Place place;  // on a machine that allows everything else
  } const machines[] = {
      {"", {"mount", "notify"}},
      {"small", {"mount", "notify"}},
      {"chroot", {"mount", "notify"}},
      {"no-reaper", {"mount", "notify"}},
      {"no-notify", {"mount", "ptrace"}},
      {"no-notify no-filter", {"mount", "ptrace"}},
      {"no-capability", {"user", "notify"}},
      {"no-capability no-namespaces", {"paths", "notify"}},
      {"no-capability no-namespaces no-notify", {"paths", "ptrace"}},
      {"no-capability no-namespaces no-filter", {"paths", "ptrace"}},
      {"no-sys", {"paths", "notify"}},
      {"no-sys no-capability no-namespaces no-notify small", {"paths", "ptrace"}},
  };
  if (geteuid() != 0 ||
      shell(KX_RESTRICTED " no-capability -- " KX_SYSTEM_KXVCARD " --room mount -- true").status != 77) {
    GTEST_SKIP() << "this machine does not let itself be restricted";
  }
  const Place host = found_place(shell(KX_SYSTEM_KXVCARD " -- true").err);
  for (const auto& machine : machines) {
    SCOPED_TRACE(machine.words);
    const std::string restricted = std::string(KX_RESTRICTED " ") + machine.words + " -- ";
    if (const Ran possible = shell(restricted + "true"); possible.status == 77) {
      continue;
    }
    const Place expected = {later(host.room, machine.place.room), later(host.trap, machine.place.trap)};
    const std::string options = expected.trap == "ptrace" ? kx_system::traced_leak_options : "";
    const Ran ran = shell("LSAN_OPTIONS=" + options + " " + restricted +
                          KX_SYSTEM_KXVCARD " -- " KX_SYSTEM_KXTOOL " sn_info eth0 sn_info");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "sn=KX2601A00042\n");
    const Place place = found_place(ran.err);
    EXPECT_EQ(place.room, expected.room) << ran.err;
    EXPECT_EQ(place.trap, expected.trap) << ran.err;
    const bool first = expected.room == "mount" && expected.trap == "notify";
    EXPECT_EQ(std::count(ran.err.begin(), ran.err.end(), '\n'), first ? 0 : 1) << ran.err;
  }
}

TEST(Restricted, AForcedRoomThatIsRefusedSaysWhy) {
  const Ran ran = shell(KX_RESTRICTED " no-capability no-namespaces -- " KX_SYSTEM_KXVCARD " --room user -- true");
  EXPECT_EQ(ran.status, 77);
  EXPECT_THAT(ran.err, testing::MatchesRegex("kxvcard: the host has no room for a card [(]user: [^\n]*[)]\n"));
}

}  // namespace
