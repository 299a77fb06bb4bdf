// Waiting for a lock that is held through another open of its file.
#include "common/lock_wait.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <string>
#include <thread>

#include "../temp_folder.h"
#include "common/unique_fd.h"

namespace {

constexpr useconds_t HELD_US = 250000;
constexpr kx_wait_limit A_MINUTE = {.step_us = 100, .looks = 600};

int looks = 0;

bool counted_look(int fd) {
  ++looks;
  return kx_flock_in_turn(fd);
}

class LockWait : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(flock(holder_.get(), LOCK_EX), 0);
    looks = 0;
  }
  const temp_folder folder_;
  const std::string path_ = folder_ / "lock";
  const kx_unique_fd holder_{open(path_.c_str(), O_RDWR | O_CREAT, 0600)};
  const kx_unique_fd file_{open(path_.c_str(), O_RDWR)};
};

TEST_F(LockWait, StandsInTheKernelsQueueAndDoesNotLookAgainAndAgain) {
  std::thread holder([this] {
    usleep(HELD_US);
    flock(holder_.get(), LOCK_UN);
  });
  EXPECT_EQ(kx_lock_wait(file_.get(), path_.c_str(), A_MINUTE, counted_look), kx_waited::done);
  EXPECT_LE(looks, 10);
  holder.join();
}

TEST_F(LockWait, EndsWithItsLimitWhereTheHolderNeverEndsEvenWithAllSignalsHeld) {
  sigset_t all, former;
  sigset_t held = {}, after = {};  // the kernel fills a part of them
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &former);
  pthread_sigmask(SIG_SETMASK, nullptr, &held);
  EXPECT_EQ(kx_lock_wait(file_.get(), path_.c_str(), {.step_us = 1, .looks = 2}, counted_look), kx_waited::busy);
  pthread_sigmask(SIG_SETMASK, &former, &after);
  EXPECT_EQ(memcmp(&held, &after, sizeof held), 0) << "the waiting changes no mask";
  EXPECT_EQ(looks, 2);
}

}  // namespace
