#include "dpp_dtb/dpp_dtb.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "../../line_numbers.h"
#include "../../printed.h"
#include "dpp_chip/dpp_dev_mutex.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_dtb/dpp_dtb_cfg.h"
#include "fake_chip.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t QUEUE = 5;

class Dtb : public testing::Test {
 protected:
  void SetUp() override {
    chip.queue_init(QUEUE);
    out.emplace();
  }
  void TearDown() override {
    dpp_dtb_down_table_overtime_set(2000);
    dpp_dtb_dump_table_overtime_set(5000000);
    dpp_dtb_delay_overtime_set(50);
    for (const auto set : {dpp_dtb_info_check_set, dpp_dtb_prt_set, dpp_dtb_soft_perf_test_set,
                           dpp_dtb_hardware_perf_test_set, dpp_dtb_debug_fun_set}) {
      set(0);
    }
  }
  /// What was printed since the last call.
  static std::string printed() {
    return caught_output::take();
  }
  static uint32_t post(uint32_t length = 16, uint32_t* item = nullptr, uint32_t int_en = 0) {
    const std::vector<uint32_t> data(2000, 0x11223344);
    uint32_t unused = 0;
    return dpp_dtb_tab_down_info_set(DEV, QUEUE, int_en, length, data.data(), item != nullptr ? item : &unused);
  }
  static uint32_t check(uint32_t item) {
    return dpp_dtb_tab_down_success_status_check(DEV, QUEUE, item);
  }
  static uint32_t ack(uint32_t item, uint32_t dir = DPP_DTB_DIR_DOWN) {
    uint32_t value = 0;
    EXPECT_EQ(dpp_dtb_item_ack_rd(DEV, QUEUE, dir, item, 0, &value), 0u);
    return value;
  }
  /// The chip hears doorbells and completes nothing.
  void hold() {
    chip.on_doorbell = [](const doorbell&) {};
  }
  fake_chip chip;
  std::optional<caught_output> out;
};

TEST_F(Dtb, LimitsAndCodes) {
  const struct {
    uint32_t length, code;
  } rows[] = {{0, 0x1205}, {3, 0x1205}, {4, 0}, {6, 0xD0D}, {4090, 0xD0D}, {4092, 0}, {4093, 0x1205}, {4096, 0x1205}};
  hold();
  for (const auto& row : rows) {
    EXPECT_EQ(post(row.length), row.code) << row.length;
  }
  uint32_t value = 0;
  const uint32_t data = 0;
  EXPECT_EQ(dpp_dtb_tab_down_info_set(DEV, 128, 0, 4, &data, &value), 0x1205u);
  EXPECT_EQ(dpp_dtb_tab_down_info_set(16, 0, 0, 4, &data, &value), 0x1205u);
  EXPECT_EQ(dpp_dtb_tab_down_info_set(DEV, QUEUE, 0, 4, nullptr, &value), 0x1201u);
  EXPECT_EQ(dpp_dtb_item_ack_rd(DEV, QUEUE, 2, 0, 0, &value), 0x1205u);
  EXPECT_EQ(dpp_dtb_item_ack_rd(DEV, QUEUE, 0, 32, 0, &value), 0x1205u);
  EXPECT_EQ(dpp_dtb_item_ack_rd(DEV, QUEUE, 0, 0, 4, &value), 0x1205u);
  EXPECT_EQ(dpp_dtb_item_buff_wr(DEV, QUEUE, 0, 0, 4096, 4, &data), 0x1205u);
  EXPECT_EQ(dpp_dtb_item_buff_wr(DEV, QUEUE, 0, 0, 4095, 4, &data), 0u);
  EXPECT_EQ(check(32), 0x1205u);
  printed();
  EXPECT_EQ(dpp_dtb_tab_down_info_set(DEV, 9, 0, 4, &data, &value), 0xD0Bu);
  EXPECT_EQ(printed(), "dtb queue 9 is not init.\n");
  EXPECT_EQ(dpp_dtb_tab_down_success_status_check(DEV, 9, 0), 0xD0Bu);
  printed();
  EXPECT_EQ(dpp_dtb_item_ack_rd(4, 9, 0, 0, 0, &value), 0xD01u);
  EXPECT_EQ(printed(), "ErrorCode[0xd01]: DTB Manager is not exist!!!\n");
  dpp_mutex* mutex = nullptr;  // every refusal gave the mutex back
  ASSERT_EQ(dpp_dev_dtb_opr_mutex_get(DEV, 17, QUEUE, &mutex), 0u);
  DPP_MUTEX_GUARD(guard, mutex);
  EXPECT_TRUE(guard.locked());
}

// A doorbell rings while the queue's mutex is held, in the thread that holds it.
TEST_F(Dtb, ReportsAMutexThatItLostOrTakesTwice) {
  static dpp_mutex* mutex;
  ASSERT_EQ(dpp_dev_dtb_opr_mutex_get(DEV, 17, QUEUE, &mutex), 0u);
  static uint32_t inner;
  const auto give_away = [](const doorbell&) { inner = qlix_comm_mutex_unlock(mutex); };
  const auto post_again = [](const doorbell&) { inner = post(); };
  const auto dump = [] { return dpp_dtb_tab_up_info_set(DEV, QUEUE, 0, 0, 4, &inner); };
  const struct {
    const char* function;
    const char* action;
    std::function<void(const doorbell&)> on_doorbell;
    std::function<uint32_t()> work;
    uint32_t code, inner;
  } rows[] = {
      {"block_post", "unlock", give_away, [] { return post(); }, EPERM, 0},
      {"block_post", "lock", post_again, [] { return post(); }, 0, EDEADLK},
      {"dpp_dtb_tab_up_info_set", "unlock", give_away, dump, 0, 0},  // on its way to the chip all the same
  };
  for (const auto& row : rows) {
    chip.on_doorbell = row.on_doorbell;
    EXPECT_EQ(row.work(), row.code) << row.function;
    EXPECT_EQ(inner, row.inner) << row.function;
    EXPECT_EQ(without_line_numbers(printed()), std::string("File: [dpp_dtb_transfer.cpp],Function:[") + row.function +
                                                   "],Line:# mutex " + row.action + " failed!-->Return ERROR\n");
    DPP_MUTEX_GUARD(guard, mutex);
    EXPECT_TRUE(guard.locked()) << row.function;
  }
}

TEST_F(Dtb, ThirtyTwoItemsThenBusy) {
  hold();
  uint32_t item = 0;
  for (uint32_t i = 0; i < 32; i++) {
    ASSERT_EQ(post(4, &item), 0u);
    EXPECT_EQ(item, i);
  }
  EXPECT_EQ(post(), 0xD05u);
  chip.complete(chip.bells[7], 0x5A5A5AFF);
  EXPECT_EQ(post(), 0xD05u);  // completed, but not yet checked
  EXPECT_EQ(check(7), 0u);
  EXPECT_EQ(post(4, &item), 0u);
  EXPECT_EQ(item, 7u);
}

TEST_F(Dtb, CompletionStatus) {
  const struct { uint32_t ack, code; } rows[] = {{0x5A5A5AFF, 0}, {0x5A5A5A01, 0x5A5A5A01}, {0x5A5A5A00, 0x5A5A5A00}};
  for (const auto& row : rows) {
    chip.on_doorbell = [&](const doorbell& bell) { chip.complete(bell, row.ack); };
    uint32_t item = 0;
    ASSERT_EQ(post(8, &item), 0u);
    EXPECT_EQ(check(item), row.code);
    EXPECT_EQ(ack(item), 0u);
  }
}

TEST_F(Dtb, AMissingCompletionIsPolledForUpToTheLimitAndReportedWithItsRegisters) {
  hold();
  dpp_dtb_delay_overtime_set(0);
  qlix_comm_set_print_level(QLIX_TRACE_DEBUG_PRINT);
  chip.registers[0x504000] = 0xABCD;  // read response errors
  for (const uint32_t limit : {0u, 1u, 5u}) {
    dpp_dtb_down_table_overtime_set(limit);
    uint32_t item = 0;
    ASSERT_EQ(post(8, &item), 0u);
    printed();
    EXPECT_EQ(check(item), 1u);
    EXPECT_EQ(ack(item), 0u);
    const std::string lines = printed();
    uint32_t polls = 0;
    for (size_t at = 0; (at = lines.find("ack_value:0x11111100\n", at)) != std::string::npos; at++) {
      polls++;
    }
    EXPECT_EQ(polls, limit + 1);
    for (const char* part : {"Error!!! dpp dtb down queue [5] item [", "] ack success is overtime!\n",
                             "dtb down table info", "data_len                   : 0x2\n", "0x11111100", "dtb reg info",
                             "axi_last_operate", "axi_channel_state", "0x0000abcd"}) {
      EXPECT_NE(lines.find(part), std::string::npos) << part;
    }
  }
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
}

TEST_F(Dtb, SwitchesLeaveOutTheChipOrTheWait) {
  hold();
  uint32_t item = 0;
  const struct {
    uint32_t (*set)(uint32_t);
    size_t bells;
    uint32_t ack;  // after the check
  } rows[] = {{dpp_dtb_soft_perf_test_set, 0, 0},
              {dpp_dtb_hardware_perf_test_set, 1, 0},
              {dpp_dtb_debug_fun_set, 1, 0x11111100}};
  for (const auto& row : rows) {
    chip.bells.clear();
    ASSERT_EQ(row.set(1), 0u);
    ASSERT_EQ(post(8, &item), 0u);
    EXPECT_EQ(chip.bells.size(), row.bells);
    EXPECT_EQ(ack(item), 0x11111100u);
    EXPECT_EQ(check(item), 0u);
    EXPECT_EQ(ack(item), row.ack);
    EXPECT_EQ(row.set(2), 0x1205u);
    row.set(0);
  }
  chip.bells.clear();
  chip.add(DPP_DEV_TYPE_NONE);
  ASSERT_EQ(post(8, &item), 0u);
  EXPECT_TRUE(chip.bells.empty());
  EXPECT_EQ(check(item), 0u);

  chip.add(DPP_DEV_TYPE_CHIP);
  dpp_dtb_prt_enable();
  printed();
  ASSERT_EQ(post(8, &item), 0u);
  EXPECT_NE(printed().find("data_len                   : 0x2\n"), std::string::npos);
}

TEST_F(Dtb, AsksTheChipFirstWhenToldTo) {
  ASSERT_EQ(dpp_dtb_info_check_set(1), 0u);
  printed();
  EXPECT_EQ(post(), 0xD18u);
  EXPECT_EQ(printed(), "the queue 5 is not enable!");
  ASSERT_EQ(dpp_dev_agent_status_set(DEV, 1), 0u);
  EXPECT_EQ(post(), 0xD18u);
  EXPECT_EQ(printed(),
            "the queue 5 is not enable!\n"
            "device 3 is in agent mode: its queues can be posted to with the info check off only\n");
  ASSERT_EQ(dpp_dev_agent_status_set(DEV, 0), 0u);
  chip.registers[0x500000 + QUEUE * 4] = 1;
  EXPECT_EQ(post(), 0xD04u);
  chip.registers[0x502040 + QUEUE * 4] = 1;
  EXPECT_EQ(post(), 0u);
}

TEST_F(Dtb, ClearsTheFinishEventOfAnInterruptingItem) {
  chip.on_doorbell = [&](const doorbell& bell) { chip.complete(bell, 0x5A5A5AFF); };
  for (const uint32_t int_en : {0u, 1u, 0u}) {
    uint32_t item = 0;
    chip.registers.erase(0x503040);
    ASSERT_EQ(post(8, &item, int_en), 0u);
    EXPECT_EQ(check(item), 0u);
    EXPECT_EQ(chip.registers.contains(0x503040), int_en == 1);
  }
}

// What the chip answers is looked at where commands read tables.
TEST_F(Dtb, DumpItemsComeBackAfterARefusalAndATimeOut) {
  hold();
  dpp_dtb_dump_table_overtime_set(2);
  const uint32_t wish[] = {7, 8};
  uint32_t item = 0, other = 0;
  ASSERT_EQ(dpp_dtb_tab_up_free_item_get(DEV, QUEUE, &item), 0u);
  ASSERT_EQ(dpp_dtb_tab_up_free_item_get(DEV, QUEUE, &other), 0u);
  EXPECT_NE(item, other);
  EXPECT_EQ(dpp_dtb_tab_up_info_set(DEV, QUEUE, other, 0, 6, wish), 0xD0Du);
  EXPECT_EQ(ack(other, DPP_DTB_DIR_DUMP), 0u);
  ASSERT_EQ(dpp_dtb_tab_up_info_set(DEV, QUEUE, item, 0, sizeof(wish), wish), 0u);
  printed();
  EXPECT_EQ(dpp_dtb_tab_up_success_status_check(DEV, QUEUE, item), 1u);
  EXPECT_EQ(printed().find("Error!!! dpp dtb dump queue [5] item ["), 0u);
  EXPECT_EQ(ack(item, DPP_DTB_DIR_DUMP), 0u);
  for (uint32_t i = 0; i < 32; i++) {
    ASSERT_EQ(dpp_dtb_tab_up_free_item_get(DEV, QUEUE, &item), 0u);
  }
  EXPECT_EQ(dpp_dtb_tab_up_free_item_get(DEV, QUEUE, &item), 0xD05u);
}

TEST_F(Dtb, QueuesAreHandedOutLowestFirst) {
  uint32_t queue = 0;
  for (uint32_t i = 0; i < 128; i++) {
    ASSERT_EQ(dpp_dtb_queue_requst(DEV, 0x100 + i % 2, &queue), 0u);
    EXPECT_EQ(queue, i);
  }
  EXPECT_EQ(dpp_dtb_queue_requst(DEV, 0x100, &queue), DPP_RC_DTB_NO_QUEUE);
  EXPECT_EQ(dpp_dtb_queue_release(DEV, 0x100, QUEUE), DPP_RC_DTB_QUEUE_NOT_OWNED);
  EXPECT_EQ(dpp_dtb_queue_release(DEV, 0x101, QUEUE), 0u);
  EXPECT_EQ(post(), 0xD0Bu);  // it lost its items
  EXPECT_EQ(dpp_dtb_queue_release(DEV, 0x100, 2), 0u);
  EXPECT_EQ(dpp_dtb_queue_release(DEV, 0x100, 2), DPP_RC_DTB_QUEUE_NOT_OWNED);
  EXPECT_EQ(dpp_dtb_queue_requst(DEV, 0x102, &queue), 0u);
  EXPECT_EQ(queue, 2u);
  EXPECT_EQ(dpp_dtb_queue_release(DEV, 0x102, 128), 0x1205u);
}

TEST_F(Dtb, ItemsMustSuitTheChip) {
  std::vector<uint32_t> memory(32 * 4112 / 4, 0xDEADBEEF);
  const auto base = reinterpret_cast<uint64_t>(memory.data());
  const dpp_dtb_queue_cfg good = {4112, 0x1000, base};
  EXPECT_EQ(dpp_dtb_queue_down_init(DEV, 1, &good), 0u);
  EXPECT_EQ(std::count(memory.begin(), memory.end(), 0u), static_cast<long>(memory.size()));
  const dpp_dtb_queue_cfg bad[] = {{4096, 0x1000, base}, {4120, 0x1000, base}, {4112, 0x1008, base}, {4112, 0x1000, 0}};
  for (const dpp_dtb_queue_cfg& cfg : bad) {
    EXPECT_EQ(dpp_dtb_queue_down_init(DEV, 1, &cfg), 0x1205u);
  }
}

// Item 6 is disturbed when item 7 is written: that first store meets a read-only page.
TEST_F(Dtb, MemoryThatLosesAWordIsRefused) {
  hold();
  constexpr size_t page = 4096;
  alignas(page) static uint8_t memory[DPP_DTB_ITEM_SIZE * DPP_DTB_ITEM_NUM];
  static uint8_t* const page_of_7 = memory + size_t{7} * DPP_DTB_ITEM_SIZE / page * page;
  ASSERT_EQ(mprotect(page_of_7, page, PROT_READ), 0);
  const auto former = signal(SIGSEGV, [](int) {
    mprotect(page_of_7, page, PROT_READ | PROT_WRITE);
    memory[6 * DPP_DTB_ITEM_SIZE] ^= 0x10;
  });
  const dpp_dtb_queue_cfg cfg = {0, fake_chip::BUS, reinterpret_cast<uint64_t>(memory)};
  printed();
  EXPECT_EQ(dpp_dtb_queue_down_init(DEV, QUEUE, &cfg), 0xD0Cu);
  EXPECT_EQ(printed(), "dtb queue [5] down init faild, mem err!!!\n");
  EXPECT_EQ(post(), 0xD0Bu);
  EXPECT_EQ(dpp_dtb_queue_down_init(DEV, QUEUE, &cfg), 0u);  // now the memory keeps what is written
  EXPECT_EQ(post(), 0u);
  signal(SIGSEGV, former);
}

}  // namespace
