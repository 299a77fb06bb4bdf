// Timers, the progress text and the state's guard.
#include "fw_timer.h"

#include <gtest/gtest.h>

#include "../../printed.h"
#include "fw_state.h"

namespace {

class Timer : public testing::Test {
 protected:
  void SetUp() override {
    fw_update_set(&update_);
  }
  void TearDown() override {
    fw_update_set(nullptr);
  }
  fw_update update_;
};

TEST_F(Timer, RunsOutOnceAfterItsTicksAndFailsTheUpdate) {
  kxtool_fw_fsm_set(FW_STATE_WAIT);
  fw_start_timer(FW_TIMER_ERASE, 6000);
  fw_timer_main(5998);
  EXPECT_EQ(kxtool_fw_fsm_get(), FW_STATE_WAIT);
  EXPECT_TRUE(fw_timer_is_active(FW_TIMER_ERASE));
  fw_timer_main(1);
  EXPECT_EQ(kxtool_fw_fsm_get(), FW_STATE_FAILED);
  EXPECT_FALSE(fw_timer_is_active(FW_TIMER_ERASE));
  kxtool_fw_fsm_set(FW_STATE_WAIT);
  fw_timer_main(10000);
  EXPECT_EQ(kxtool_fw_fsm_get(), FW_STATE_WAIT);
}

TEST_F(Timer, CancelledAndRestartedTimersCountAnew) {
  kxtool_fw_fsm_set(FW_STATE_WAIT);
  fw_start_timer(FW_TIMER_END, 100);
  fw_start_timer(FW_TIMER_READ_BACK, 300);
  fw_timer_main(90);
  fw_cancel_timer(FW_TIMER_END);
  fw_timer_main(90);
  fw_start_timer(FW_TIMER_READ_BACK, 300);
  fw_timer_main(298);
  EXPECT_EQ(kxtool_fw_fsm_get(), FW_STATE_WAIT);
  fw_timer_main(1);
  EXPECT_EQ(kxtool_fw_fsm_get(), FW_STATE_FAILED);
}

TEST_F(Timer, UnknownIdIsLoggedAndNothingStarts) {
  const std::string log = told([] { fw_start_timer(33, 1); });
  EXPECT_NE(log.find("tim_id 33 was not found!"), std::string::npos) << log;
}

TEST_F(Timer, StatesFrom128OnAreIgnored) {
  kxtool_fw_fsm_set(127);
  kxtool_fw_fsm_set(128);
  kxtool_fw_fsm_set(255);
  EXPECT_EQ(kxtool_fw_fsm_get(), 127);
}

TEST(Progress, LineTellsImagePhasePercentageRateAndTimeLeft) {
  fw_progress progress;
  progress.total = 4 << 20;
  progress.part = 'B';
  progress.image = 2;
  progress.image_num = 3;
  progress.phase = "writing";
  progress.start_ms = 1000;
  char text[160];
  progress.written = 2028;
  progress.writing_ms = 1;
  fw_progress_text(progress, 3000, text, sizeof text);
  EXPECT_STREQ(text, "part B image 2/3 writing   0%, 2 s");
  progress.done = (1 << 20) + 1;
  progress.written = 2 << 20;  // half of it was a repeat
  progress.writing_ms = 4000;
  fw_progress_text(progress, 9000, text, sizeof text);
  EXPECT_STREQ(text, "part B image 2/3 writing  25%, 512 KiB/s, 8 s, 6 s left");
  progress.done = progress.total - 1;
  fw_progress_text(progress, 9000, text, sizeof text);
  EXPECT_STREQ(text, "part B image 2/3 writing  99%, 512 KiB/s, 8 s, 1 s left");
  progress.done = progress.total;
  fw_progress_text(progress, 9000, text, sizeof text);
  EXPECT_STREQ(text, "part B image 2/3 writing 100%, 512 KiB/s, 8 s, 0 s left");
  fw_progress_text(progress, 9000, text, 12);
  EXPECT_STREQ(text, "part B imag");
}

}  // namespace
