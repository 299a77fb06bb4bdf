// A folder under the temporary folder, removed with everything in it.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

class temp_folder {
 public:
  temp_folder() {
    std::string name = testing::TempDir() + "kx_test.XXXXXX";
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    path_ = name;
  }
  temp_folder(temp_folder&& other) noexcept : path_(std::exchange(other.path_, "")) {}
  temp_folder& operator=(temp_folder&&) = delete;
  ~temp_folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::string& path() const {
    return path_;
  }
  std::string operator/(const std::string& name) const {
    return path_ + "/" + name;
  }
  /// Writes a file into the folder and returns its path.
  std::string write(const std::string& name, std::string_view text) const {
    std::ofstream(*this / name) << text;
    return *this / name;
  }
  /// The content of a file, "" when there is none.
  static std::string read(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }
  /// How many entries it has.
  size_t entries() const {
    return static_cast<size_t>(
        std::distance(std::filesystem::directory_iterator(path_), std::filesystem::directory_iterator()));
  }

 private:
  std::string path_;
};
