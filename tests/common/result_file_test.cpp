#include "common/result_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "../temp_folder.h"

namespace {

namespace fs = std::filesystem;

class ResultFileTest : public testing::Test {
 protected:
  std::string path(const char* name) const {
    return folder_ / name;
  }
  temp_folder folder_;
};

TEST_F(ResultFileTest, AppearsWholeAndReplacesTheOldOne) {
  folder_.write("dump", "old");
  kx_result_file file;
  ASSERT_TRUE(file.open(path("dump").c_str()));
  fputs("new", file.stream());
  EXPECT_EQ(folder_.read("dump"), "old");
  ASSERT_TRUE(file.commit());
  EXPECT_EQ(folder_.read("dump"), "new");
  EXPECT_EQ(folder_.entries(), 1u);
}

TEST_F(ResultFileTest, LeavesNothingWithoutCommit) {
  {
    kx_result_file file;
    ASSERT_TRUE(file.open(path("dump").c_str()));
    fputs("half", file.stream());
  }
  EXPECT_EQ(folder_.entries(), 0u);
}

TEST_F(ResultFileTest, RefusesWhatIsNoRegularFile) {
  fs::create_symlink("elsewhere", path("link"));
  fs::create_directory(path("folder"));
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  for (const char* name : {"link", "folder", "pipe"}) {
    kx_result_file file;
    EXPECT_FALSE(file.open(path(name).c_str())) << name;
    EXPECT_EQ(errno, EEXIST) << name;
  }
  kx_result_file file;
  EXPECT_FALSE(file.open(path("missing/dump").c_str()));
  EXPECT_EQ(errno, ENOENT);
  ASSERT_TRUE(file.open(path("late").c_str()));
  fs::create_symlink("elsewhere", path("late"));
  EXPECT_FALSE(file.commit());
  EXPECT_EQ(folder_.entries(), 4u);
}

TEST_F(ResultFileTest, SaysWhenTheDiskIsFull) {
  // What was written goes to a full device: the descriptor is exchanged below the stream.
  kx_result_file file;
  ASSERT_TRUE(file.open(path("dump").c_str()));
  FILE* full = fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  ASSERT_GE(dup2(fileno(full), fileno(file.stream())), 0);
  fclose(full);
  fputs("lost", file.stream());
  EXPECT_FALSE(file.commit());
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(folder_.entries(), 0u);
}

}  // namespace
