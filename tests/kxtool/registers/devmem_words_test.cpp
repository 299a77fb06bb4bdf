// Words of devmem: what is taken, what is refused before anything is touched.
#include "devmem_words.h"

#include <gtest/gtest.h>

#include <vector>

#include "../../printed.h"

namespace {

constexpr kxtools_unit_window WINDOWS[] = {{0, 0x8400000000, 0x1000}, {0x1000, 0x8500000000, 0x1000}};
constexpr kxtools_unit UNIT = {.name = "two", .title = "", .windows = WINDOWS};

using Words = std::vector<const char*>;

TEST(DevmemWords, FindThePlaceInCardMemory) {
  struct Row {
    Words words;
    uint64_t address;
    uint32_t length;
    bool writes;
    uint32_t value;
  };
  const Row rows[] = {
      {{"addr", "0x10"}, 0x8400000010, 4, false, 0},
      {{"16"}, 0x8400000010, 4, false, 0},
      {{"addr", "0x1000", "len", "0x1000"}, 0x8500000000, 0x1000, false, 0},
      {{"addr", "0XFFC"}, 0x8400000FFC, 4, false, 0},
      {{"0x1ffc", "val", "0xFFFFFFFF"}, 0x8500000FFC, 4, true, UINT32_MAX},
      {{"addr", "010", "val", "010"}, 0, 0, false, 0},  // decimal ten is no multiple of 4
  };
  for (const Row& row : rows) {
    devmem_request request;
    ASSERT_TRUE(devmem_words_parse(static_cast<uint32_t>(row.words.size()), row.words.data(), &request));
    const bool good = devmem_request_check(UNIT, &request);
    EXPECT_EQ(good, row.length != 0);
    if (good) {
      EXPECT_EQ(request.address, row.address);
      EXPECT_EQ(request.length, row.length);
      EXPECT_EQ(request.writes, row.writes);
      EXPECT_EQ(request.value, row.value);
    }
  }
}

TEST(DevmemWords, RefuseOtherWords) {
  const Words rows[] = {{},
                        {"addr"},
                        {"addr", "0", "len"},
                        {"0", "len"},
                        {"0", "value", "1"},
                        {"addr", "0", "LEN", "4"},
                        {"addr", "0", "len", "4", "--verify"},
                        {"addr", "0", "val", "4", "--verif"},
                        {"addr", "0", "val", "4", "--verify", "5"},
                        {"addr", "0", "len", "4", "5"},
                        {"addr", "addr", "0", "1"}};
  for (const Words& words : rows) {
    devmem_request request;
    EXPECT_FALSE(devmem_words_parse(static_cast<uint32_t>(words.size()), words.data(), &request));
  }
}

TEST(DevmemWords, SayInOneLineWhyAPlaceIsRefused) {
  const std::pair<Words, const char*> rows[] = {
      {{"0x2"}, "address 0x2 is not a multiple of 4\n"},
      {{"0x7ffffffffffffffc"}, "0x7ffffffffffffffc is no address of two, which has some from 0x0 to 0x1fff\n"},
      {{"0x2000"}, "0x2000 is no address of two, which has some from 0x0 to 0x1fff\n"},
      {{"0xffc", "len", "8"}, "0x8 bytes at 0xffc reach beyond the window, which ends in 0x4 bytes\n"},
      {{"0", "len", "0"}, "a length of 0 reads nothing\n"},
      {{"0", "len", "6"}, "length 0x6 is not a multiple of 4\n"},
  };
  for (const auto& [words, line] : rows) {
    devmem_request request;
    ASSERT_TRUE(devmem_words_parse(static_cast<uint32_t>(words.size()), words.data(), &request));
    const std::string out = printed([&] { EXPECT_FALSE(devmem_request_check(UNIT, &request)); });
    EXPECT_TRUE(out.starts_with("kxtools_err: [")) << out;
    EXPECT_EQ(out.substr(std::min(out.find("] ", 14), out.size() - 2) + 2), line);
  }
}

TEST(DevmemWords, NumbersThatAreNoneOrOutOfRangeEndTheProcess) {
  const Words rows[] = {{"-4"},
                        {"0x"},
                        {"4x"},
                        {"ff"},
                        {"0x8000000000000000"},
                        {"0", "len", "0x10004"},
                        {"0", "val", "0x100000000"},
                        {"0", "val", "one"}};
  for (const Words& words : rows) {
    devmem_request request;
    ASSERT_TRUE(devmem_words_parse(static_cast<uint32_t>(words.size()), words.data(), &request));
    EXPECT_EXIT(devmem_request_check(UNIT, &request), testing::ExitedWithCode(1), "bad command line argument");
  }
}

}  // namespace
