#include "command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../printed.h"

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
    kxpcie_target target(KXTOOLS_SBDF_NONE);
    EXPECT_EQ(kxpcie_number(target, std::span(&c.word, 1), 0, "thing", c.max), c.value) << c.word;
    EXPECT_EQ(target.good(), c.good) << c.word;
    EXPECT_EQ(printed([&] { EXPECT_EQ(target.end(), c.good ? 0 : -1) << c.word; }).empty(), c.good) << c.word;
  }
}

TEST(Target, KeepsTheFirstFailureAndTouchesNothingBehindIt) {
  kxpcie_target target(KXTOOLS_SBDF_NONE);
  KXPCIE_FAIL(target, "the %s", "first");
  KXPCIE_FAIL(target, "the second");
  testing::internal::CaptureStdout();
  EXPECT_EQ(target.dword(0), UINT32_MAX);
  EXPECT_EQ(target.word(0), UINT16_MAX);
  target.word_write(0, 0);
  EXPECT_EQ(target.find(true, PCI_EXT_CAP_ID_ERR), 0u);
  EXPECT_FALSE(target.check(-2));
  kxpcie_target other(KXTOOLS_SBDF_NONE);
  other.adopt(target);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_THAT(printed([&] { EXPECT_EQ(other.end(), -1); }), testing::EndsWith("] the first\n"));
}

}  // namespace
