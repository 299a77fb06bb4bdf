#include "common/nearest.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(WordDistance, CountsSlips) {
  struct {
    const char* a;
    const char* b;
    size_t distance;
  } const cases[] = {
      {"", "", 0},         {"abc", "abc", 0},   {"ABC", "abc", 0},        {"abc", "", 3},
      {"", "abc", 3},      {"abc", "abd", 1},   {"abc", "abxc", 1},       {"abcd", "abd", 1},
      {"abcd", "acbd", 1}, {"abcd", "badc", 2}, {"kitten", "sitting", 3}, {"ca", "abc", 3},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(kx_word_distance(c.a, c.b, 9), c.distance) << c.a << " " << c.b;
    EXPECT_EQ(kx_word_distance(c.b, c.a, 9), c.distance) << c.b << " " << c.a;
  }
  EXPECT_EQ(kx_word_distance("abcdef", "uvwxyz", 4), 4u);
}

TEST(WordDistance, OfWordsThatFitNoTableIsTheLimit) {
  const std::string longest(KX_NEAREST_LENGTH, 'a');
  EXPECT_EQ(kx_word_distance(longest, longest, 3), 0u);
  EXPECT_EQ(kx_word_distance(longest + "a", longest + "a", 3), 3u);
  EXPECT_EQ(kx_word_distance("a", longest + "a", 3), 3u);
}

TEST(Nearest, IsTheNameThatWasMeant) {
  constexpr const char* NAMES[] = {"sn_info", "set_vf_status", "set_vf_mac", "diag", "stat", "-v", "-fw", "bind"};
  // A word and the name that is nearest, or null.
  const std::pair<const char*, const char*> cases[] = {
      {"sn_inf", "sn_info"},
      {"sninfo", "sn_info"},
      {"ns_info", "sn_info"},
      {"SN_INFO", "sn_info"},
      {"set_vf", "set_vf_status"},  // the first of those that it begins
      {"set_vf_ma", "set_vf_mac"},
      {"daig", "diag"},
      {"stats", "stat"},
      {"bnd", "bind"},
      {"x", nullptr},
      {"", nullptr},
      {"-x", nullptr},
      {"si", nullptr},
      {"di", nullptr},
      {"update", nullptr},
      {"information", nullptr},
  };
  for (const auto& [word, expected] : cases) {
    kx_nearest nearest(word);
    for (const char* name : NAMES) {
      nearest.offer(name);
    }
    EXPECT_STREQ(nearest.name(), expected) << word;
  }
}

TEST(UnknownWord, IsExplainedOnStandardError) {
  constexpr const char* UNITS[] = {"all", "vqm", "pcie"};
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  kx_unknown_word_print("unit of the card", "pice", UNITS);
  kx_unknown_word_print("unit of the card", "ethernet", UNITS);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "kxtool: 'pice' is no unit of the card: did you mean 'pcie'?\n"
            "kxtool: 'ethernet' is no unit of the card: there are all, vqm, pcie\n");
}

}  // namespace
