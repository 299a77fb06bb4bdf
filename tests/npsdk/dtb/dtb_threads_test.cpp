#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <thread>

#include "dpp_dtb/dpp_dtb.h"
#include "dpp_dtb/dpp_dtb_cfg.h"
#include "dpp_dtb/dpp_dtb_table.h"
#include "fake_chip.h"

namespace {

constexpr uint32_t DEV = fake_chip::DEV;
constexpr uint32_t POSTS = 400;

/// Completes items in a thread of its own.
class background_chip {
 public:
  explicit background_chip(fake_chip* chip) : chip_(chip), thread_([this] { run(); }) {
    chip->on_doorbell = [this](const doorbell& bell) {
      const std::lock_guard guard(lock_);
      bells_.push_back(bell);
      wake_.notify_one();
    };
  }
  ~background_chip() {
    {
      const std::lock_guard guard(lock_);
      stopping_ = true;
    }
    wake_.notify_one();
    thread_.join();
  }

 private:
  void run() {
    std::unique_lock guard(lock_);
    while (true) {
      wake_.wait(guard, [this] { return stopping_ || !bells_.empty(); });
      if (bells_.empty()) {
        return;
      }
      const doorbell bell = bells_.front();
      bells_.pop_front();
      guard.unlock();
      chip_->execute(bell);
      guard.lock();
    }
  }
  fake_chip* chip_;
  std::mutex lock_;
  std::condition_variable wake_;
  std::deque<doorbell> bells_;
  bool stopping_ = false;
  std::thread thread_;
};

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
  dpp_dtb_down_table_overtime_set(1000000);
  dpp_dtb_delay_overtime_set(1);
  for (const uint32_t second_queue : {0u, 1u}) {
    {
      background_chip background(&chip);
      std::thread one(writer, 0, 0);
      std::thread two(writer, second_queue, 100000);
      one.join();
      two.join();
    }
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
