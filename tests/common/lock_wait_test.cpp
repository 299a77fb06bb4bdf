// Waiting for a lock that another process holds.
#include "common/lock_wait.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <string>

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

/// A process that holds the lock of a file for a while, or until it is killed.
class Holder {
 public:
  Holder(const std::string& path, useconds_t microseconds) {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    pid_ = fork();
    if (pid_ == 0) {
      const int fd = open(path.c_str(), O_RDWR);
      flock(fd, LOCK_EX);
      close(ready[1]);
      microseconds != 0 ? usleep(microseconds) : pause();
      _exit(0);
    }
    close(ready[1]);
    char none;
    EXPECT_EQ(read(ready[0], &none, 1), 0);
    close(ready[0]);
  }
  ~Holder() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }

 private:
  pid_t pid_;
};

class LockWait : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(file_);
    looks = 0;
  }
  const temp_folder folder_;
  const std::string path_ = folder_.path() + "/lock";
  const kx_unique_fd file_{open(path_.c_str(), O_RDWR | O_CREAT, 0600)};
};

TEST_F(LockWait, StandsInTheKernelsQueueAndDoesNotLookAgainAndAgain) {
  const Holder holder(path_, HELD_US);
  EXPECT_EQ(kx_lock_wait(file_.get(), path_.c_str(), A_MINUTE, counted_look), kx_waited::done);
  EXPECT_LE(looks, 10);
}

TEST_F(LockWait, EndsWithItsLimitWhereTheHolderNeverEndsEvenWithAllSignalsHeld) {
  const Holder holder(path_, 0);
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
