#include "margin_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "../printed.h"

namespace {

template <typename Write>
std::vector<std::string> lines_of(const Write& write) {
  std::istringstream stream(written(write));
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

constexpr kxpcie_margin_abilities ABILITIES = {.voltage = true,
                                               .up_down_voltage = true,
                                               .left_right_timing = true,
                                               .timing_steps = 12,
                                               .timing_percent = 30,
                                               .voltage_steps = 16,
                                               .voltage_percent = 20};
constexpr kxpcie_margin_end ERRORS = kxpcie_margin_end::errors;

// Rows of the drawing, without title, frame and note.
std::vector<std::string> eye_of(const kxpcie_lane_margins& margins) {
  std::vector<std::string> lines = lines_of([&](FILE* out) { kxpcie_eye_write(out, 0, margins); });
  EXPECT_EQ(lines.size(), 19u);
  return {lines.begin() + 1, lines.end() - 1};
}

TEST(MarginText, TableShowsOffsetsAndHowEachDirectionEnded) {
  const kxpcie_lane_margins lanes[] = {
      {ABILITIES, {{ERRORS, 6, 1}, {kxpcie_margin_end::largest, 12, 0}, {kxpcie_margin_end::refused, 8, 0}, {}}},
      {{.timing_steps = 12}, {{}, {ERRORS, 0, 0}, {}, {}}},
  };
  const auto lines = lines_of([&](FILE* out) { kxpcie_margin_table_write(out, 4, lanes); });
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[1], "   4    6/12  0.150 UI       12/12  0.300 UI  +     8/16   100 mV   ?   -                   ");
  EXPECT_EQ(lines[2], "   5  -                       0/12                -                     -                   ");
}

TEST(MarginText, EyeOpensAsFarAsItWasMeasured) {
  const auto rows = eye_of({ABILITIES, {{ERRORS, 6, 0}, {ERRORS, 12, 0}, {ERRORS, 16, 0}, {ERRORS, 8, 0}}});
  const std::string axis = rows[8].substr(2);
  EXPECT_EQ(axis, std::string(12, '#') + std::string(12, ' ') + "+" + std::string(24, ' '));
  // Row by row on the vertical axis: open up to the top, half way down.
  std::string vertical;
  for (const std::string& row : rows) {
    EXPECT_EQ(row.size(), 51u);
    vertical += row[2 + 24];
  }
  EXPECT_EQ(vertical, std::string(8, ' ') + "+" + std::string(4, ' ') + std::string(4, '#'));
  EXPECT_EQ(rows[0].substr(2), std::string(24, '#') + " " + std::string(24, '#'));
}

TEST(MarginText, EyeMirrorsWhatCannotBeMeasuredApart) {
  const auto rows = eye_of({ABILITIES, {{}, {ERRORS, 6, 0}, {}, {}}});
  EXPECT_EQ(rows[8].substr(2),
            std::string(12, '#') + std::string(12, ' ') + "+" + std::string(12, ' ') + std::string(12, '#'));
  EXPECT_EQ(rows[7].find(' ', 2), std::string::npos);
}

TEST(MarginText, EyeOfNothingIsClosed) {
  for (const std::string& row : eye_of({})) {
    EXPECT_THAT(row.substr(2), testing::MatchesRegex("[#+]+"));
  }
}

}  // namespace
