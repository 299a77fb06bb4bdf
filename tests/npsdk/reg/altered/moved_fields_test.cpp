// The driver's own sources on a statistics sheet whose fields are more, elsewhere and in another order. The addresses
// are those of the sheet as it is.
#include <gtest/gtest.h>

#include "../../../printed.h"
#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_memory/dpp_stat.h"
#include "memory_device.h"

namespace {

using np_test::memory;

constexpr uint32_t INIT_PRE_CFG = 0x200010;
constexpr uint32_t IND_CMD = 0x202000;
constexpr uint32_t IND_STATUS = 0x202004;
constexpr uint32_t IND_DATA = 0x202010;
constexpr uint32_t INIT_DONE = 0x203000;
constexpr uint32_t BUSY = 0x203004;

TEST(MovedFields, AreFoundWhereTheyAre) {
  np_test::memory_device_add(0);
  memory().words[INIT_DONE] = 1u << 4;
  memory().words[BUSY] = 1u << 2;  // where tm_busy was
  EXPECT_EQ(printed([&] { EXPECT_EQ(diag_dpp_stat_tm_init_pre_etm(0, 2), 0u); }),
            "stat tm pre init done, tm_stat_mode: 2\n");
  EXPECT_EQ(memory().words[INIT_PRE_CFG], 2u << 8 | 1u);
}

TEST(MovedFields, AWindowsCommandIsMadeOfThem) {
  np_test::memory_device_add(0);
  memory().words[IND_STATUS] = 1u << 7;
  memory().words[IND_DATA] = 0x11;
  memory().words[IND_DATA + 4] = 0x22;
  uint32_t words[4] = {};
  EXPECT_EQ(dpp_stat_ppu_cnt_get(0, DPP_STAT_WIDTH_64, 0x1234, 1, words), 0u);
  EXPECT_EQ(memory().words[IND_CMD], 0x1234u << 6 | DPP_STAT_WIDTH_64 << 2 | 1u << 1 | 1u);
  EXPECT_EQ(words[0], 0x11u);
  EXPECT_EQ(words[1], 0x22u);
  EXPECT_EQ(dpp_stat_ppu_cnt_set(0, DPP_STAT_WIDTH_64, 0x1234, words), 0u);
  EXPECT_EQ(memory().words[IND_CMD], 0x1234u << 6 | DPP_STAT_WIDTH_64 << 2);
}

}  // namespace
