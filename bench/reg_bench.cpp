// A register of three fields written and read through the description, by its type and by its number, beside what a
// driver would hold for it if it had no description: the same fields shifted by hand, and the device's hook called.
#include "dpp_chip/dpp_dev_setup.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/print.h"
#include "side_by_side.h"

namespace {

using side_by_side::samples;
using Doorbell = dpp_regs::cfg_queue_dtb_len_0_127;

constexpr int ROUNDS = 31;
constexpr uint32_t ACCESSES = 200000;
constexpr uint32_t QUEUES = 128;

uint32_t memory[64];

uint32_t memory_write(uint32_t, uint32_t addr, uint32_t word_count, const uint32_t* data) {
  for (uint32_t i = 0; i < word_count; ++i) {
    memory[(addr / 4 + i) % 64] = data[i];
  }
  return 0;
}

uint32_t memory_read(uint32_t, uint32_t addr, uint32_t word_count, uint32_t* data) {
  for (uint32_t i = 0; i < word_count; ++i) {
    data[i] = memory[(addr / 4 + i) % 64];
  }
  return 0;
}

// The peer's device: what its hooks are, is not known where they are called.
struct PlainDevice {
  dpp_dev_write_fun write;
  dpp_dev_read_fun read;
};
PlainDevice devices[DPP_DEV_MAX];

[[gnu::noinline]] uint32_t by_hand_write(uint32_t dev_id, uint32_t queue, const Doorbell& fields) {
  if (dev_id >= DPP_DEV_MAX || queue >= QUEUES) {
    return 0x1205;
  }
  const uint32_t word =
      (fields.cfg_dtb_cmd_type & 1) << 30 | (fields.cfg_dtb_cmd_int_en & 1) << 29 | (fields.cfg_queue_dtb_len & 0x3FF);
  return devices[dev_id].write(dev_id, 0x2000008 + queue * 0x20, 1, &word);
}

[[gnu::noinline]] uint32_t by_hand_read(uint32_t dev_id, uint32_t queue, Doorbell* fields) {
  if (dev_id >= DPP_DEV_MAX || queue >= QUEUES) {
    return 0x1205;
  }
  uint32_t word = 0;
  const uint32_t rc = devices[dev_id].read(dev_id, 0x2000008 + queue * 0x20, 1, &word);
  *fields = {word >> 30 & 1, word >> 29 & 1, word & 0x3FF};
  return rc;
}

/// Nanoseconds for one of many accesses to changing queues.
template <typename Access>
double access_time(Access access) {
  uint32_t failures = 0;
  const double time = side_by_side::time_of([&] {
    for (uint32_t i = 0; i < ACCESSES; ++i) {
      failures |= access(i % QUEUES, i);
    }
  });
  side_by_side::must(failures == 0, "an access failed");
  return time / ACCESSES;
}

void writes_compare() {
  samples typed, numbered, by_hand;
  for (int round = 0; round < ROUNDS; ++round) {
    typed.push_back(access_time([](uint32_t queue, uint32_t i) {
      return dpp_reg_write(0, 0, queue, Doorbell{1, 0, i});
    }));
    by_hand.push_back(access_time([](uint32_t queue, uint32_t i) { return by_hand_write(0, queue, {1, 0, i}); }));
    numbered.push_back(access_time([](uint32_t queue, uint32_t i) {
      const uint32_t values[] = {1, 0, i};
      return dpp_reg_write(0, Doorbell::NUMBER, 0, queue, values);
    }));
  }
  side_by_side::row("register write, by type", "ns", typed, "shifts by hand, the hook", by_hand, 1.5);
  side_by_side::row("register write, by number", "ns", numbered, "shifts by hand, the hook", by_hand,
                    side_by_side::NO_LIMIT);
}

void reads_compare() {
  samples typed, numbered, by_hand;
  for (int round = 0; round < ROUNDS; ++round) {
    typed.push_back(access_time([](uint32_t queue, uint32_t) {
      Doorbell fields = {};
      const uint32_t rc = dpp_reg_read(0, 0, queue, &fields);
      side_by_side::keep(fields.cfg_queue_dtb_len + fields.cfg_dtb_cmd_int_en + fields.cfg_dtb_cmd_type);
      return rc;
    }));
    by_hand.push_back(access_time([](uint32_t queue, uint32_t) {
      Doorbell fields = {};
      const uint32_t rc = by_hand_read(0, queue, &fields);
      side_by_side::keep(fields.cfg_queue_dtb_len + fields.cfg_dtb_cmd_int_en + fields.cfg_dtb_cmd_type);
      return rc;
    }));
    numbered.push_back(access_time([](uint32_t queue, uint32_t) {
      uint32_t values[3];
      const uint32_t rc = dpp_reg_read(0, Doorbell::NUMBER, 0, queue, values);
      side_by_side::keep(values[0] + values[1] + values[2]);
      return rc;
    }));
  }
  side_by_side::row("register read, by type", "ns", typed, "shifts by hand, the hook", by_hand, 1.5);
  side_by_side::row("register read, by number", "ns", numbered, "shifts by hand, the hook", by_hand,
                    side_by_side::NO_LIMIT);
}

}  // namespace

int main() {
  qlix_comm_set_print_en(0);
  const dpp_sys_init_ctrl init = {
      .device_type = DPP_DEV_TYPE_CHIP, .p_pcie_write_fun = memory_write, .p_pcie_read_fun = memory_read};
  side_by_side::must(dpp_base_soft_init(0, &init) == 0, "no device");
  devices[0] = {memory_write, memory_read};
  side_by_side::keep(reinterpret_cast<uint64_t>(devices));
  const Doorbell doorbell = {1, 0, 0x123};
  Doorbell read = {};
  side_by_side::must(
      dpp_reg_write(0, 0, 5, doorbell) == 0 && by_hand_read(0, 5, &read) == 0 &&
          std::bit_cast<dpp_reg_values<Doorbell>>(read) == std::bit_cast<dpp_reg_values<Doorbell>>(doorbell),
      "the contenders disagree");
  writes_compare();
  reads_compare();
  return 0;
}
