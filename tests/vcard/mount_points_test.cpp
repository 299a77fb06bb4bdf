#include "host/mount_points.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "../temp_folder.h"

namespace vcard {
namespace {

class MountPointsTest : public testing::Test {
 protected:
  bool exists() const {
    return access((folder_ / "point").c_str(), F_OK) == 0;
  }
  temp_folder folder_;
};

TEST_F(MountPointsTest, TheLastUserRemovesTheFolder) {
  MountPoints first, second;
  ASSERT_EQ(first.hold(folder_ / "point"), "");
  ASSERT_EQ(second.hold(folder_ / "point"), "");
  first.release(false);
  EXPECT_TRUE(exists());
  second.release(false);
  EXPECT_FALSE(exists());
}

TEST_F(MountPointsTest, AFolderWithSomethingInItStays) {
  MountPoints points;
  ASSERT_EQ(points.hold(folder_ / "point"), "");
  std::string file = folder_ / "point/lock";
  fclose(fopen(file.c_str(), "we"));
  points.release(false);
  EXPECT_TRUE(exists());
  unlink(file.c_str());
  rmdir((folder_ / "point").c_str());
}

TEST_F(MountPointsTest, WhatIsNoFolderIsRefused) {
  std::string path = folder_ / "point";
  fclose(fopen(path.c_str(), "we"));
  MountPoints points;
  EXPECT_NE(points.hold(path), "");
  unlink(path.c_str());
  ASSERT_EQ(symlink("/tmp", path.c_str()), 0);
  EXPECT_NE(points.hold(path), "");
  unlink(path.c_str());
}

TEST_F(MountPointsTest, UsersThatComeAndGoAtOnceNeverLoseOrLeaveIt) {
  constexpr int users = 6;
  for (int user = 0; user < users; ++user) {
    if (fork() == 0) {
      bool good = true;
      for (int i = 0; good && i < 100; ++i) {
        MountPoints points;
        good = points.hold(folder_ / "point").empty() && exists();
        points.release(false);
      }
      _exit(good ? 0 : 1);
    }
  }
  for (int user = 0; user < users; ++user) {
    int status = -1;
    wait(&status);
    EXPECT_EQ(status, 0);
  }
  EXPECT_FALSE(exists());
}

}  // namespace
}  // namespace vcard
