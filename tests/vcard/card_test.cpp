#include "vcard/card.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <sstream>

#include "vcard/models.h"

namespace vcard {
namespace {

using testing::ElementsAre;

class Doubler : public CardMemoryBlock {
 public:
  uint32_t read(uint64_t offset) override {
    return static_cast<uint32_t>(offset * 2);
  }
  void write(uint64_t offset, uint32_t value) override {
    written.emplace_back(offset, value);
  }
  std::vector<std::pair<uint64_t, uint32_t>> written;
};

TEST(CardMemory, ClaimedRangesAnswerAndTheRestIsMemory) {
  RequestLog log;
  std::string lines;
  log.keep(&lines);
  CardMemory memory(log);
  Doubler block;
  memory.attach(0x6200000000, 0x100, &block);

  EXPECT_EQ(memory.read(0x6200000010), 0x20u);
  EXPECT_EQ(memory.read(0x62000000ff), 0xfcu * 2);  // low address bits do not count
  EXPECT_EQ(memory.read(0x6200000100), 0u);         // first word behind the range
  memory.write(0x6200000020, 5);
  EXPECT_THAT(block.written, ElementsAre(std::pair<uint64_t, uint32_t>(0x20, 5)));
  memory.write(0x6200000100, 6);
  EXPECT_EQ(memory.peek(0x6200000100), 6u);
  EXPECT_EQ(lines,
            "card_read address=0x6200000010 value=0x00000020\n"
            "card_read address=0x62000000fc value=0x000001f8\n"
            "card_read address=0x6200000100 value=0x00000000\n"
            "card_write address=0x6200000020 value=0x00000005\n"
            "card_write address=0x6200000100 value=0x00000006\n");
}

TEST(CardMemoryDeathTest, TwoModelsCannotClaimTheSameWord) {
  RequestLog log;
  CardMemory memory(log);
  Doubler block;
  memory.attach(0x1000, 0x100, &block);
  EXPECT_DEATH(memory.attach(0x10fc, 0x10, &block), "two models claim card address 0x10fc");
  EXPECT_DEATH(memory.attach(0xff0, 0x20, &block), "two models claim card address 0xff0");
}

TEST(ManagementProcessor, NoticesWaitInOrderForTheToolThatAttachedLast) {
  RequestLog log;
  ManagementProcessor processor(log);
  std::vector<Bytes> taken;
  bool ready = false;
  processor.notify({1});  // nobody there: dropped when a tool attaches
  processor.attach_tool([&](uint16_t, ByteView payload) {
    if (ready) {
      taken.emplace_back(payload.begin(), payload.end());
    }
    return ready;
  });
  processor.notify({2});
  processor.notify({3});
  EXPECT_TRUE(taken.empty());
  ready = true;
  EXPECT_TRUE(processor.deliver());
  EXPECT_THAT(taken, ElementsAre(Bytes{2}, Bytes{3}));
  EXPECT_FALSE(processor.deliver());
}

TEST(Card, RunsScheduledActionsAndPollsOnItsThread) {
  CardFile file;
  RequestLog log;
  Card card(file, log);
  ASSERT_TRUE(card.create({}));
  std::vector<int> order;
  std::condition_variable done;
  int looks = 0;
  card.schedule(std::chrono::milliseconds(2), [&] { order.push_back(2); });
  card.schedule(std::chrono::milliseconds(1), [&] {
    order.push_back(1);
    card.schedule(std::chrono::milliseconds(5), [&] {
      order.push_back(3);
      done.notify_one();
    });
  });
  card.poll_every(std::chrono::microseconds(50), [&] {
    ++looks;
    return false;
  });
  card.start();
  {
    std::unique_lock lock(card.lock());
    EXPECT_TRUE(done.wait_for(lock, std::chrono::seconds(10), [&] { return order.size() == 3; }));
  }
  card.stop();
  EXPECT_THAT(order, ElementsAre(1, 2, 3));
  EXPECT_GT(looks, 1);
}

TEST(Card, PublishesRecordsAndFeatureWordInBar0) {
  CardFile file(R"({"bar0": {"layout_byte": 2, "feature_word": "0x1122334455667788",
                    "compat": {"1": {"fw_minor": 3, "drv_minor": 1}, "5": {"present": false}}}})");
  RequestLog log;
  Card card(file, log);
  models_attach(card);
  ASSERT_TRUE(card.create({}));
  EXPECT_EQ(card.bar0().read32(0x1000), 0x00000200u);
  EXPECT_EQ(card.bar0().read32(0x1004), 0x77880000u);
  EXPECT_EQ(card.bar0().read32(0x1008), 0x33445566u);
  EXPECT_EQ(card.bar0().read32(0x100c), 0x00001122u);
  EXPECT_EQ(card.bar0().read32(0x5400), 0x00000001u);
  EXPECT_EQ(card.bar0().read32(0x5408), 0x01030002u);
  EXPECT_EQ(card.bar0().read32(0x5428), 0x00000000u);
  EXPECT_THAT(file.complaints(), testing::IsEmpty());
}

/// The ids of the capabilities that a walk finds, and behind a bar those of the extended ones.
std::string walk(std::span<const uint8_t> config) {
  std::ostringstream found;
  found << std::hex;
  for (size_t offset = config[0x34]; offset != 0; offset = config[offset + 1]) {
    found << int{config[offset]} << ' ';
  }
  found << '|';
  for (size_t offset = 0x100; offset != 0; offset = size_t{config[offset + 3]} << 4 | config[offset + 2] >> 4) {
    found << ' ' << (config[offset] | config[offset + 1] << 8);
  }
  return found.str();
}

TEST(Card, FunctionsCarryTheirCapabilities) {
  CardFile file(R"({"functions": {"0000:3b:00.1": {"power_capability": false, "vpd_capability": false},
                                  "0000:3b:00.0": {"power_state": 3}}})");
  RequestLog log;
  Card card(file, log);
  ASSERT_TRUE(card.create({}));
  const std::pair<const char*, const char*> expected[] = {
      {"0000:00:1f.6", "1 10 | 1"},
      {"0000:3a:00.0", "1 10 | 1"},
      {"0000:3b:00.0", "1 11 10 3 5 | 1 10 b e 19 26 27 f"},
      {"0000:3b:00.1", "11 10 5 | 1 10 b e f"},
      {"0000:3b:01.0", "1 11 10 3 | 1 b e"},
  };
  ASSERT_EQ(card.functions().size(), std::size(expected));
  for (size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(card.functions()[i].sbdf, expected[i].first);
    EXPECT_EQ(walk(card.functions()[i].config.bytes()), expected[i].second) << expected[i].first;
  }
  EXPECT_EQ(card.functions()[2].config.bytes()[0x44] & 3, 3);
}

}  // namespace
}  // namespace vcard
