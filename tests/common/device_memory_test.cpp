// Device memory that is taken away under the tool; a file that is cut off stands in for it.
#include "common/device_memory.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "../printed.h"
#include "common/mmio.h"

namespace {

constexpr size_t PAGES = 16;

class DeviceMemory : public testing::Test {
 public:
  /// A sanitizer's handler, which would be the former one, turns the signal into an exit status.
  static void SetUpTestSuite() {
    signal(SIGBUS, SIG_DFL);
  }
  DeviceMemory() : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))), fd_(memfd_create("bar", MFD_CLOEXEC)) {
    EXPECT_EQ(ftruncate(fd_, static_cast<off_t>(PAGES * page_)), 0);
    data_ = static_cast<uint8_t*>(mmap(nullptr, PAGES * page_, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0));
    kx_device_memory_rearm();
  }
  ~DeviceMemory() override {
    kx_device_memory_release(data_);
    munmap(data_, PAGES * page_);
    close(fd_);
    kx_device_memory_rearm();
  }
  void guard() {
    kx_device_memory_guard(data_, PAGES * page_, "0000:3b:00.0 BAR 0");
  }
  void take_away() const {
    EXPECT_EQ(ftruncate(fd_, 0), 0);
  }
  kx_mmio_region region() const {
    return {data_, PAGES * page_};
  }

  size_t page_;
  int fd_;
  uint8_t* data_;
};

constexpr const char* LINE =
    "kxtool: 0000:3b:00.0 BAR 0 was taken away, by a driver or with the card: it reads all ones from now on\n";

TEST_F(DeviceMemory, ReadsAllOnesOnceItIsTakenAwayAndSaysSoOnce) {
  guard();
  kx_mmio_write32(region(), 8, 7);
  EXPECT_EQ(kx_mmio_read32(region(), 8), 7u);
  EXPECT_EQ(kx_device_memory_losses, 0u);
  take_away();
  testing::internal::CaptureStderr();
  kx_mmio_write32(region(), 8, 9);
  EXPECT_EQ(kx_mmio_read32(region(), 8), 0xFFFFFFFFu) << "what was written is not read back";
  EXPECT_EQ(kx_mmio_read8(region(), 3 * page_ + 5), 0xFF);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), LINE);
  EXPECT_EQ(kx_device_memory_losses, 1u);
  EXPECT_TRUE(kx_mmio_is_lost(region().from(page_)));
}

TEST_F(DeviceMemory, SpeaksAgainForTheNextCommand) {
  guard();
  take_away();
  for (int command = 0; command < 2; ++command) {
    kx_device_memory_rearm();
    EXPECT_EQ(kx_device_memory_losses, 0u);
    EXPECT_EQ(told([&] { EXPECT_EQ(kx_mmio_read32(region(), 0), 0xFFFFFFFFu); }), LINE) << command;
  }
}

TEST_F(DeviceMemory, MayBeTouchedByManyThreadsWhenItGoes) {
  guard();
  testing::internal::CaptureStderr();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (size_t at = 0; !kx_mmio_is_lost(region()) || at % PAGES != 0; ++at) {
        const uint32_t value = kx_mmio_read32(region(), at % PAGES * page_);
        EXPECT_TRUE(value == 0 || value == 0xFFFFFFFF) << value;
      }
    });
  }
  take_away();
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), LINE);
}

TEST_F(DeviceMemory, OtherFaultsEndTheProcess) {
  guard();
  take_away();
  EXPECT_EXIT(raise(SIGBUS), testing::KilledBySignal(SIGBUS), "") << "from outside";
  kx_device_memory_release(data_);
  EXPECT_EXIT(data_[0] = 1, testing::KilledBySignal(SIGBUS), "") << "released";
}

}  // namespace
