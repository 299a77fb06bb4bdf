// Error lines: prefix, function, line and text in one piece, the colour closed before the newline.
#include "common/report.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Report, LinesCarryFunctionAndLineFromTheCompiler) {
  testing::internal::CaptureStdout();
  KXTOOLS_ERR("open %s failed\n", "x");
  const int first = __LINE__ - 1;
  MTS_ERR("\r bar map failed\n");
  MSG_CHAN_ERR("time out.\n");
  KXTOOLS_INFO("no newline");
  const std::string line = std::to_string(first);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "kxtools_err: [TestBody][" + line + "] open x failed\n" + "mts_err: [TestBody][" +
                std::to_string(first + 2) + "]\r bar map failed\n" + "\033[31mmsg_chan_err: [TestBody][" +
                std::to_string(first + 3) + "]time out.\033[m\n" + "kxtools_info: [TestBody][" +
                std::to_string(first + 4) + "] no newline");
}

}  // namespace
