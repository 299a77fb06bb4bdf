// The zgroup checks read thousands of lines through the tunnel and take their time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/process.h"

namespace {

using testing::HasSubstr;

TEST(KxnpZgroup, BothZgroupChecksPassEveryZblock) {
  const kx_system::Result result = kx_system::run({
      .input = "0\nsu opsu\n"
               "kxnp diag_dpp_se_zgroup_check_rd_only 0 0\n"
               "kxnp diag_dpp_se_zgroup_check 0 0\n"
               "kxnp diag_dpp_se_zgroup_check_rd_only 0 4\n"
               "quit\n",
  });
  EXPECT_EQ(result.status, 0);
  for (const char* zblock : {"zblock 00: OK,", "zblock 07: OK,"}) {
    const size_t first = result.out.find(zblock);
    ASSERT_NE(first, std::string::npos) << result.out;
    EXPECT_NE(result.out.find(zblock, first + 1), std::string::npos) << "one of the two checks lacks " << zblock;
  }
  EXPECT_THAT(result.out, HasSubstr("zgroup 0: 8 zblocks, 0 errors: HEALTHY\n"));
  EXPECT_THAT(result.out, HasSubstr("[Error:VALUE[0x4] INVALID]"));
}

}  // namespace
