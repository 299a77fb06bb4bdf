// The document of the card file names every key that the virtual card reads and every kind of line that it logs.

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>

#include "../temp_folder.h"

namespace {

std::set<std::string> first_groups(const std::string& text, const char* pattern) {
  std::set<std::string> found;
  std::regex regex(pattern);
  for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
    found.insert((*match)[1]);
  }
  return found;
}

TEST(Documents, NameEveryKeyAndEveryLogLine) {
  const std::filesystem::path folder = VCARD_FOLDER;
  const std::string document = temp_folder::read(folder / "README.md");
  size_t words = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.path().extension() != ".cpp") {
      continue;
    }
    const std::string source = temp_folder::read(entry.path());
    std::set<std::string> keys = first_groups(
        source,
        R"re(\b(?:number|signed_number|flag|text|bytes|choice|numbers|texts|sections?|has)\(\s*"([a-z0-9_]+)")re");
    keys.merge(first_groups(source, R"re(\b(?:log\(\)|log_)\s*\.line\(\s*"([a-z_]+))re"));
    words += keys.size();
    for (const std::string& key : keys) {
      EXPECT_TRUE(std::regex_search(document, std::regex("(?:[`.\"]|### )" + key + "\\b")))
          << entry.path() << ": " << key;
    }
  }
  EXPECT_GT(words, 100u);
}

}  // namespace
