// The card's files where it has no namespace of its own: no run leaves them for ever.
#include "host/private_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "../temp_folder.h"

namespace {

bool exists(const std::string& path) {
  struct stat info = {};
  return lstat(path.c_str(), &info) == 0;
}

// A run whose processes are killed, with a link out of its folder.
std::string killed_run(const std::string& link_target) {
  int path[2];
  EXPECT_EQ(pipe(path), 0);
  const pid_t child = fork();
  if (child == 0) {
    vcard::PrivateFolder folder;
    static_cast<void>(folder.make());
    std::filesystem::create_directories(folder.path() + "/sys/bus");
    std::filesystem::create_symlink(link_target, folder.path() + "/sys/link");
    static_cast<void>(!write(path[1], folder.path().data(), folder.path().size()));
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  char text[512];
  const ssize_t length = read(path[0], text, sizeof text);
  close(path[0]);
  close(path[1]);
  return {text, static_cast<size_t>(length)};
}

TEST(PrivateFolder, OfAKilledRunIsRemovedByALaterOne) {
  const temp_folder outside;
  outside.write("kept", "kept");
  vcard::PrivateFolder alive;
  ASSERT_EQ(alive.make(), "");
  const std::string dead = killed_run(outside.path());
  ASSERT_NE(dead, "");  // another run that has begun meanwhile may have removed it already
  const std::string planted = dead.substr(0, dead.size() - 6) + "plante";
  ASSERT_EQ(symlink(outside.path().c_str(), planted.c_str()), 0);

  vcard::PrivateFolder later;
  EXPECT_EQ(later.make(), "");
  EXPECT_FALSE(exists(dead));
  EXPECT_TRUE(exists(alive.path()));
  EXPECT_TRUE(exists(planted));
  EXPECT_EQ(temp_folder::read(outside / "kept"), "kept");
  unlink(planted.c_str());
  for (vcard::PrivateFolder* folder : {&alive, &later}) {
    folder->remove();
    EXPECT_FALSE(exists(folder->path()));
  }
}

}  // namespace
