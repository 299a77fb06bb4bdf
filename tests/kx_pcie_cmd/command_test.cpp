#include "command.h"

#include <gtest/gtest.h>

namespace {

TEST(Words, ReadNumbersWithoutTricks) {
  const struct {
    const char* word;
    uint64_t max;
    bool good;
    uint64_t value;
  } cases[] = {
      {"0", 10, true, 0},
      {"10", 10, true, 10},
      {"0xA", 10, true, 10},
      {"0X0a", 10, true, 10},
      {"010", 10, true, 10},
      {"18446744073709551615", UINT64_MAX, true, UINT64_MAX},
      {"0xffffffffffffffff", UINT64_MAX, true, UINT64_MAX},
      {"11", 10, false, 0},
      {"18446744073709551616", UINT64_MAX, false, 0},
      {"0x10000000000000000", UINT64_MAX, false, 0},
      {"", 10, false, 0},
      {"0x", 10, false, 0},
      {"-1", UINT64_MAX, false, 0},
      {"0x-1", UINT64_MAX, false, 0},
      {"+1", 10, false, 0},
      {"1 ", 10, false, 0},
      {"1g", 10, false, 0},
      {"a", 10, false, 0},
      {"0x0x1", 10, false, 0},
  };
  for (const auto& c : cases) {
    uint64_t value = 77;
    testing::internal::CaptureStdout();
    const bool good = kxpcie_number_read(c.word, "thing", c.max, &value);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(good, c.good) << c.word;
    EXPECT_EQ(value, c.good ? c.value : 77) << c.word;
    EXPECT_EQ(out.empty(), c.good) << c.word;
  }
}

}  // namespace
