// A chip on the other side of the register hooks: it hears doorbells, reads items from the memory behind the bus
// address and completes them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "../../printed.h"
#include "dpp_chip/dpp_dev.h"
#include "dpp_dtb/dpp_dtb.h"
#include "vcard/np_commands.h"

struct doorbell {
  uint32_t queue;
  uint64_t bus;
  uint32_t length;
  bool int_en;
  bool dump;
};

/// The device that the chip is.
inline constexpr uint32_t DEV = 3;

class fake_chip {
 public:
  static constexpr uint64_t BUS = 0x123456789A0000;  // more than 36 bits, so both address words count

  fake_chip() {
    if (dpp_dev_mgr_get() == nullptr) {
      dpp_dev_init();
    }
    now_ = this;
    add(DPP_DEV_TYPE_CHIP);
    EXPECT_EQ(dpp_dtb_mgr_create(DEV), 0u);
  }
  ~fake_chip() {
    dpp_dtb_mgr_destroy(DEV);
    now_ = nullptr;
  }
  /// Adds the device, or gives it another type.
  void add(uint32_t type) {
    EXPECT_EQ(dpp_dev_add(DEV, type, DPP_DEV_ACCESS_TYPE_PCIE, 0x1000, 0, 0, 0, write, read, nullptr, nullptr), 0u);
  }
  /// Gives a queue its items, down and dump.
  void queue_init(uint32_t queue) {
    const size_t bytes = size_t{DPP_DTB_ITEM_SIZE} * DPP_DTB_ITEM_NUM;
    std::vector<uint32_t>& memory = memory_[queue];
    memory.assign(bytes / 2, 0xDEADBEEF);
    const auto base = reinterpret_cast<uint64_t>(memory.data());
    const dpp_dtb_queue_cfg down = {0, bus_of(queue), base}, dump = {0, bus_of(queue) + bytes, base + bytes};
    caught_output lines;
    EXPECT_EQ(dpp_dtb_queue_down_init(DEV, queue, &down), 0u);
    EXPECT_EQ(dpp_dtb_queue_dump_init(DEV, queue, &dump), 0u);
    EXPECT_EQ(lines.take().find("dtb queue [" + std::to_string(queue) + "] down init success!!!\n"), 0u);
  }
  static uint64_t bus_of(uint32_t queue) {
    return BUS + uint64_t{queue} * 0x200000;
  }
  uint8_t* memory_at(const doorbell& bell) {
    return reinterpret_cast<uint8_t*>(memory_.at(bell.queue).data()) + (bell.bus - bus_of(bell.queue));
  }
  void complete(const doorbell& bell, uint32_t ack) {
    dpp_dtb_wr32(reinterpret_cast<uint64_t>(memory_at(bell)), ack);
  }
  /// Executes the item as the chip does and completes it.
  void execute(const doorbell& bell) {
    uint8_t* buffer = memory_at(bell) + DPP_DTB_ITEM_ACK_BYTES;
    const std::span<const uint8_t> block = {buffer, size_t{bell.length} * 4};
    vcard::NpStatus status;
    std::vector<uint8_t> answer;
    {
      const std::lock_guard guard(lock_);
      status = bell.dump ? chip.dump(block, answer) : chip.execute(block);
    }
    std::copy(answer.begin(), answer.end(), buffer);
    complete(bell, 0x5A5A5A00u | static_cast<uint32_t>(status));
  }

  vcard::NpTables tables;
  vcard::NpCommands chip{tables};
  /// What a doorbell does; the default executes at once.
  std::function<void(const doorbell&)> on_doorbell = [this](const doorbell& bell) { execute(bell); };
  std::map<uint32_t, uint32_t> registers;  // what reads answer, and what was last written
  std::vector<doorbell> bells;

 private:
  static uint32_t write(uint32_t, uint32_t addr, uint32_t count, const uint32_t* data) {
    EXPECT_EQ(count, 1u);
    return now_->written(addr, *data);
  }
  static uint32_t read(uint32_t, uint32_t addr, uint32_t count, uint32_t* data) {
    const std::lock_guard guard(now_->lock_);
    for (uint32_t i = 0; i < count; i++) {
      data[i] = now_->registers[addr + i * 4];
    }
    return 0;
  }
  uint32_t written(uint32_t addr, uint32_t value) {
    std::unique_lock guard(lock_);
    registers[addr] = value;
    if (addr >= 0x2000000 && addr < 0x2001000 && addr % 0x20 == 8) {
      const uint64_t bus = (uint64_t{registers[addr - 8]} << 32 | registers[addr - 4]) << 4;
      const doorbell bell = {(addr - 0x2000000) / 0x20, bus, value & 0x3FF, (value >> 29 & 1) != 0,
                             (value >> 30 & 1) != 0};
      bells.push_back(bell);
      guard.unlock();
      on_doorbell(bell);
    }
    return 0;
  }

  static inline fake_chip* now_ = nullptr;
  std::map<uint32_t, std::vector<uint32_t>> memory_;
  std::mutex lock_;
};
