// The card's queue engine against memory that only a bus address names.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "vcard/card.h"
#include "vcard/models.h"

namespace vcard {
namespace {

constexpr uint64_t processor_base = 0x6218000000;
constexpr size_t huge = size_t{2} << 20;

class TableQueues : public testing::Test {
 protected:
  void SetUp() override {
    page_ = mmap(nullptr, huge, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_HUGETLB | MAP_POPULATE, -1, 0);
    if (page_ == MAP_FAILED) {
      GTEST_SKIP() << "no huge pages";
    }
    memset(page_, 0, huge);
    const int pagemap = open("/proc/self/pagemap", O_RDONLY | O_CLOEXEC);
    uint64_t entry = 0;
    const auto at = static_cast<off_t>(reinterpret_cast<uint64_t>(page_) / 4096 * 8);
    ASSERT_EQ(pread(pagemap, &entry, 8, at), 8);
    close(pagemap);
    bus_ = (entry & ((uint64_t{1} << 55) - 1)) * 4096;
    if (bus_ == 0) {
      GTEST_SKIP() << "frame numbers are hidden";
    }
  }
  void TearDown() override {
    if (page_ != MAP_FAILED) {
      munmap(page_, huge);
    }
  }
  /// Puts a block into the item at `offset` and rings the doorbell of queue 3 as the tool does through the tunnel.
  void post(Card& card, uint64_t offset, const std::vector<uint8_t>& block, uint64_t bus) {
    uint8_t* item = static_cast<uint8_t*>(page_) + offset;
    const uint32_t posted = 0x11111100;
    memcpy(item, &posted, 4);
    memcpy(item + 16, block.data(), block.size());
    const std::lock_guard guard(card.lock());
    const uint64_t bell = processor_base + 0x2000000 + 3 * 0x20;
    card.memory().write(bell, static_cast<uint32_t>(bus >> 36));
    card.memory().write(bell + 4, static_cast<uint32_t>(bus >> 4));
    card.memory().write(bell + 8, static_cast<uint32_t>(block.size() / 4) | 1u << 29);
  }
  uint32_t acknowledge(uint64_t offset) const {
    return __atomic_load_n(reinterpret_cast<uint32_t*>(static_cast<uint8_t*>(page_) + offset), __ATOMIC_ACQUIRE);
  }
  static uint32_t word(Card& card, uint64_t offset) {
    const std::lock_guard guard(card.lock());
    return card.memory().read(processor_base + offset);
  }

  void* page_ = MAP_FAILED;
  uint64_t bus_ = 0;
};

// Writes 128-bit eRAM entry 2.
std::vector<uint8_t> eram_block() {
  std::vector<uint8_t> block(32);
  block[0] = 0x82;
  block[4] = 0x02;
  for (uint8_t i = 0; i < 16; ++i) {
    block[16u + i] = i;
  }
  return block;
}

TEST_F(TableQueues, ExecutesItemsAndCountsWhatGoesWrong) {
  CardFile file;
  RequestLog log;
  std::string lines;
  log.keep(&lines);
  Card card(file, log);
  models_attach(card);
  card.processes = [] { return std::vector<pid_t>{getpid()}; };
  ASSERT_TRUE(card.create({}));

  post(card, 16400, eram_block(), bus_ + 16400);
  EXPECT_EQ(acknowledge(16400), 0x5a5a5affu);
  EXPECT_EQ(word(card, 0x504040 + 3 * 4), 1u);
  EXPECT_EQ(word(card, 0x503040), 1u << 3);  // the item asked for an interrupt
  {
    const std::lock_guard guard(card.lock());
    card.memory().write(processor_base + 0x310000, 1u << 31 | 2);  // read 128 bits of line 2 through the window
    EXPECT_EQ(card.memory().read(processor_base + 0x310010 + 12), 0x0c0d0e0fu);
  }
  std::vector<uint8_t> broken = eram_block();
  broken[0] = 0x02;
  post(card, 0, broken, bus_);
  EXPECT_EQ(acknowledge(0), 0x5a5a5a01u);
  EXPECT_EQ(word(card, 0x502240 + 3 * 4), 0x01u);

  post(card, 0, eram_block(), bus_ + huge * 1000000);
  EXPECT_EQ(acknowledge(0), 0x11111100u);
  EXPECT_EQ(word(card, 0x504000), 1u);
  EXPECT_THAT(lines, testing::HasSubstr("table_block queue=3 bytes=32 dump=0 status=0xff\n"));
}

}  // namespace
}  // namespace vcard
