#include <gtest/gtest.h>

#include <thread>

#include "dpp_dtb/dpp_dtb.h"
#include "dpp_dtb/dpp_dtb_cfg.h"
#include "dpp_dtb/dpp_dtb_table.h"
#include "fake_chip.h"

namespace {

constexpr uint32_t POSTS = 400;

/// Writes rows of its own through `queue`.
void writer(uint32_t queue, uint32_t first_row) {
  for (uint32_t i = 0; i < POSTS; i++) {
    const uint32_t data[4] = {first_row + i, queue, i, 0xA5A5A5A5};
    ASSERT_EQ(dpp_dtb_smmu0_write(DEV, queue, DPP_ERAM_DATA_128, first_row + i, data), 0u);
  }
}

TEST(DtbThreads, TwoThreadsOnOneQueueAndOnTwo) {
  fake_chip chip;
  for (const uint32_t queue : {0u, 1u}) {
    chip.queue_init(queue);
  }
  // Items are completed while their writers wait, each in a thread that touches nothing afterwards.
  chip.on_doorbell = [&](const doorbell& bell) { std::thread([&chip, bell] { chip.execute(bell); }).detach(); };
  dpp_dtb_down_table_overtime_set(1000000);
  dpp_dtb_delay_overtime_set(1);
  for (const uint32_t second_queue : {0u, 1u}) {
    std::thread one(writer, 0, 0);
    std::thread two(writer, second_queue, 100000);
    one.join();
    two.join();
    for (const uint32_t first : {0u, 100000u}) {
      for (uint32_t i = 0; i < POSTS; i++) {
        const vcard::TableLine line = chip.tables.eram(first + i);
        ASSERT_EQ(__builtin_bswap32(line[0]), first + i);
        ASSERT_EQ(__builtin_bswap32(line[1]), first == 0 ? 0 : second_queue);
        ASSERT_EQ(__builtin_bswap32(line[2]), i);
      }
    }
    EXPECT_TRUE(chip.chip.counters().errors.empty());
  }
  dpp_dtb_down_table_overtime_set(2000);
  dpp_dtb_delay_overtime_set(50);
}

}  // namespace
