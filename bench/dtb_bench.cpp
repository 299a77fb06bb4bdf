// Posting a block and checking its completion, with item memory that acknowledges at once, beside a plain copy of the
// same bytes and three stores into the doorbell, which acknowledge in the same way, and beside the same with what every
// post must have: the queue's mutex and the device's hooks.
#include <cstring>

#include "dpp_chip/dpp_dev.h"
#include "dpp_dtb/dpp_dtb.h"
#include "qlix_comm/mutex.h"
#include "qlix_comm/print.h"
#include "side_by_side.h"

namespace {

constexpr uint32_t DEV = 0;
constexpr uint32_t QUEUE = 1;
constexpr uint32_t POSTS = 20000;
constexpr int ROUNDS = 31;
constexpr uint64_t BUS = 0x100000000;
constexpr uint32_t ACKNOWLEDGED = 0x5A5A5AFF;

std::vector<uint32_t> memory(size_t{DPP_DTB_ITEM_SIZE} * DPP_DTB_ITEM_NUM / 4);
uint64_t address;

/// Completes the item that the doorbell names.
uint32_t hook_write(uint32_t, uint32_t addr, uint32_t, const uint32_t* data) {
  switch (addr % 0x20) {
    case 0:
      address = uint64_t{*data} << 36;
      break;
    case 4:
      address |= uint64_t{*data} << 4;
      break;
    default:
      dpp_dtb_wr32(reinterpret_cast<uint64_t>(memory.data()) + (address - BUS), ACKNOWLEDGED);
  }
  return 0;
}

uint32_t hook_read(uint32_t, uint32_t, uint32_t, uint32_t* data) {
  *data = 0;
  return 0;
}

double ours(uint32_t length, const uint32_t* data) {
  uint32_t failures = 0;
  const double time = side_by_side::time_of([&] {
    for (uint32_t i = 0; i < POSTS; i++) {
      failures |= dpp_dtb_write_down_table_data(DEV, QUEUE, length, data);
    }
  });
  side_by_side::must(failures == 0, "a post failed");
  return time / POSTS;
}

volatile uint32_t doorbell[3];

/// The chip's acknowledgement and the look at it are the peer's too: without them there is no completion.
double bare(uint32_t length, const uint32_t* data) {
  uint32_t done = 0;
  const double time = side_by_side::time_of([&] {
    for (uint32_t i = 0; i < POSTS; i++) {
      const uint32_t item = i % DPP_DTB_ITEM_NUM;
      const uint64_t bus = BUS + uint64_t{item} * DPP_DTB_ITEM_SIZE;
      volatile uint32_t* const ack = memory.data() + size_t{item} * DPP_DTB_ITEM_SIZE / 4;
      std::memcpy(const_cast<uint32_t*>(ack) + 4, data, length);
      doorbell[0] = static_cast<uint32_t>(bus >> 36);
      doorbell[1] = static_cast<uint32_t>(bus >> 4);
      doorbell[2] = length / 4;
      *ack = ACKNOWLEDGED;
      done += *ack == ACKNOWLEDGED ? 1 : 0;
      *ack = 0;
    }
  });
  side_by_side::must(done == POSTS, "a bare post failed");
  return time / POSTS;
}

// What is asked of a post besides the copy: the queue's mutex, which knows its owner, and the device's hooks.
dpp_dev_write_fun volatile hook = hook_write;

double bare_with_hooks(uint32_t length, const uint32_t* data) {
  static qlix_comm_mutex mutex;
  static const uint32_t created = qlix_comm_mutex_create(&mutex);
  uint32_t done = created;
  const double time = side_by_side::time_of([&] {
    for (uint32_t i = 0; i < POSTS; i++) {
      const uint32_t item = i % DPP_DTB_ITEM_NUM;
      const uint64_t bus = BUS + uint64_t{item} * DPP_DTB_ITEM_SIZE;
      volatile uint32_t* const ack = memory.data() + size_t{item} * DPP_DTB_ITEM_SIZE / 4;
      const uint32_t words[] = {static_cast<uint32_t>(bus >> 36), static_cast<uint32_t>(bus >> 4), length / 4};
      qlix_comm_mutex_lock(&mutex);
      std::memcpy(const_cast<uint32_t*>(ack) + 4, data, length);
      for (uint32_t word = 0; word < 3; word++) {
        hook(DEV, word * 4, 1, &words[word]);
      }
      qlix_comm_mutex_unlock(&mutex);
      done += *ack == ACKNOWLEDGED ? 1 : 0;
      *ack = 0;
    }
  });
  side_by_side::must(done == POSTS, "a bare post failed");
  return time / POSTS;
}

}  // namespace

int main() {
  qlix_comm_set_print_en(0);
  dpp_dev_init();
  dpp_dev_add(DEV, DPP_DEV_TYPE_CHIP, DPP_DEV_ACCESS_TYPE_PCIE, 0x1000, 0, 0, 0, hook_write, hook_read, nullptr,
              nullptr);
  dpp_dtb_mgr_create(DEV);
  const dpp_dtb_queue_cfg cfg = {0, BUS, reinterpret_cast<uint64_t>(memory.data())};
  if (dpp_dtb_queue_down_init(DEV, QUEUE, &cfg) != 0) {
    return 1;
  }
  const std::vector<uint32_t> data(1023, 0x11223344);
  constexpr struct {
    uint32_t length;
    double limit;
  } CASES[] = {{64, 2.0}, {1024, 1.5}, {4092, 1.1}};
  for (const auto& [length, limit] : CASES) {
    side_by_side::samples our_times, bare_times, hooked_times;
    for (int round = 0; round < ROUNDS; round++) {
      our_times.push_back(ours(length, data.data()));
      bare_times.push_back(bare(length, data.data()));
      hooked_times.push_back(bare_with_hooks(length, data.data()));
    }
    side_by_side::row("queue post and check, " + std::to_string(length) + " bytes", "ns", our_times,
                      "copy and three stores", bare_times, limit);
    side_by_side::row("queue post and check, " + std::to_string(length) + " bytes", "ns", our_times,
                      "copy, mutex, three hooks", hooked_times, side_by_side::NO_LIMIT);
  }
  return 0;
}
