// Shared files: whatever another user planted in a world-writable folder, the tool neither follows nor damages it.
#include "common/shared_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>

#include "../temp_folder.h"

namespace {

class SharedFile : public testing::Test {
 protected:
  kx_shared_file open_file(const std::string& folder, const char* name) {
    return kx_shared_file_open(folder.c_str(), name, O_RDWR | O_CREAT, 0777, 0666);
  }
  static mode_t mode_of(const std::string& path) {
    struct stat info = {};
    EXPECT_EQ(stat(path.c_str(), &info), 0);
    return info.st_mode & 07777;
  }
  temp_folder folder_;
  const std::string& root_ = folder_.path();
};

TEST_F(SharedFile, MakesFolderAndFileWithTheStatedModesWhateverTheUmask) {
  const mode_t old = umask(077);
  const kx_shared_file file = open_file(root_ + "/new", "lock");
  umask(old);
  ASSERT_EQ(file.step, kx_shared_file_step::opened);
  EXPECT_EQ(mode_of(root_ + "/new"), 0777u);
  EXPECT_EQ(mode_of(root_ + "/new/lock"), 0666u);
}

TEST_F(SharedFile, KeepsContentAndModeOfAnExistingFile) {
  folder_.write("log", "kept");
  chmod((root_ + "/log").c_str(), 0640);
  ASSERT_EQ(open_file(root_, "log").step, kx_shared_file_step::opened);
  EXPECT_EQ(temp_folder::read(folder_ / "log"), "kept");
  EXPECT_EQ(mode_of(root_ + "/log"), 0640u);
}

TEST_F(SharedFile, RefusesWhatSomebodyPlanted) {
  folder_.write("victim", "x");
  ASSERT_EQ(symlink(folder_.write("other_victim", "x").c_str(), (root_ + "/link").c_str()), 0);
  ASSERT_EQ(symlink("/nonexistent", (root_ + "/dangling").c_str()), 0);
  ASSERT_EQ(link((root_ + "/victim").c_str(), (root_ + "/second_name").c_str()), 0);
  ASSERT_EQ(mkfifo((root_ + "/fifo").c_str(), 0666), 0);
  ASSERT_EQ(mkdir((root_ + "/folder").c_str(), 0777), 0);
  ASSERT_EQ(symlink(root_.c_str(), (root_ + "/folder_link").c_str()), 0);
  for (const char* name : {"link", "dangling", "second_name", "fifo", "folder", "", ".", "..", "a/b"}) {
    EXPECT_EQ(open_file(root_, name).step, kx_shared_file_step::open_file) << name;
  }
  EXPECT_EQ(open_file(root_ + "/victim", "lock").step, kx_shared_file_step::stat_folder);
  EXPECT_EQ(open_file(root_ + "/folder_link", "lock").step, kx_shared_file_step::stat_folder);
  EXPECT_EQ(open_file(root_ + "/none/deeper", "lock").step, kx_shared_file_step::make_folder);
  EXPECT_NE(access("/nonexistent", F_OK), 0);
}

}  // namespace
