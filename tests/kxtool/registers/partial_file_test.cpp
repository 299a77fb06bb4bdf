// Files that get their name when they are complete.
#include "partial_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;

class PartialFile : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = testing::TempDir() + "partial.XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
  }
  void TearDown() override {
    fs::remove_all(folder_);
  }
  std::string path(const char* name) const {
    return (folder_ / name).string();
  }
  size_t files() const {
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
  }
  static std::string text(const std::string& path) {
    std::ostringstream all;
    all << std::ifstream(path).rdbuf();
    return all.str();
  }

  fs::path folder_;
};

TEST_F(PartialFile, ReplacesItsTargetOnlyWhenItIsComplete) {
  std::ofstream(path("target")) << "old";
  {
    partial_file file;
    ASSERT_TRUE(file.create(path("target").c_str()));
    fputs("half", file.stream());
  }
  EXPECT_EQ(text(path("target")), "old");
  EXPECT_EQ(files(), 1u);
  {
    partial_file file;
    ASSERT_TRUE(file.create(path("target").c_str()));
    fputs("new", file.stream());
    EXPECT_EQ(text(path("target")), "old");
    ASSERT_TRUE(file.commit());
  }
  EXPECT_EQ(text(path("target")), "new");
  EXPECT_EQ(files(), 1u);
}

TEST_F(PartialFile, RefusesWhatIsNoRegularFile) {
  std::ofstream(path("victim")) << "precious";
  fs::create_symlink(path("victim"), path("link"));
  fs::create_symlink(path("nothing"), path("dangling"));
  fs::create_directory(path("folder"));
  for (const char* name : {"link", "dangling", "folder", "missing/file"}) {
    testing::internal::CaptureStdout();
    partial_file file;
    EXPECT_FALSE(file.create(path(name).c_str())) << name;
    EXPECT_TRUE(testing::internal::GetCapturedStdout().starts_with("kxtools_err: [create][")) << name;
  }
  EXPECT_EQ(text(path("victim")), "precious");
  EXPECT_EQ(files(), 4u);
}

// A link planted while the file was written is replaced, what it points to is not touched.
TEST_F(PartialFile, DoesNotFollowALinkPlantedMeanwhile) {
  std::ofstream(path("victim")) << "precious";
  partial_file file;
  ASSERT_TRUE(file.create(path("target").c_str()));
  fputs("new", file.stream());
  fs::create_symlink(path("victim"), path("target"));
  ASSERT_TRUE(file.commit());
  EXPECT_FALSE(fs::is_symlink(path("target")));
  EXPECT_EQ(text(path("victim")), "precious");
}

TEST_F(PartialFile, AFullDiskLeavesNothing) {
  if (!fs::exists("/dev/full")) {
    GTEST_SKIP();
  }
  partial_file file;
  ASSERT_TRUE(file.create(path("target").c_str()));
  FILE* full = freopen("/dev/full", "w", file.stream());
  ASSERT_NE(full, nullptr);
  fputs("new", file.stream());
  testing::internal::CaptureStdout();
  EXPECT_FALSE(file.commit());
  testing::internal::GetCapturedStdout();
  EXPECT_FALSE(fs::exists(path("target")));
}

}  // namespace
