#include "common/result_file.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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
  EXPECT_EQ(temp_folder::read(folder_ / "dump"), "old");
  ASSERT_TRUE(file.commit());
  EXPECT_EQ(temp_folder::read(folder_ / "dump"), "new");
  EXPECT_EQ(folder_.entries(), 1u);
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

// Larger than one buffer of the stream, so that the failed write is not the last one.
TEST_F(ResultFileTest, SaysWhyAWriteFailed) {
  rlimit former = {};
  getrlimit(RLIMIT_FSIZE, &former);
  signal(SIGXFSZ, SIG_IGN);
  kx_result_file file;
  ASSERT_TRUE(file.open(path("dump").c_str()));
  const rlimit small = {20000, former.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const std::string block(30000, 'x');
  fputs(block.c_str(), file.stream());
  errno = 0;
  fputs("more", file.stream());
  setrlimit(RLIMIT_FSIZE, &former);
  EXPECT_NE(ferror(file.stream()), 0);
  EXPECT_FALSE(file.commit());
  EXPECT_EQ(errno, EFBIG);
  EXPECT_EQ(folder_.entries(), 0u);
}

TEST_F(ResultFileTest, NothingIsLeftByAProcessThatIsKilled) {
  const pid_t child = fork();
  if (child == 0) {
    kx_result_file file;
    if (file.open(path("dump").c_str())) {
      fputs("half", file.stream());
      fflush(file.stream());
      raise(SIGKILL);
    }
    _exit(1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(folder_.entries(), 0u);
}

}  // namespace
