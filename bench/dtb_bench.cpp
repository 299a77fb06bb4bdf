// Posting a block and checking its completion, with item memory that acknowledges at once, beside the bare copy of the
// same bytes and the three register writes through the same hooks.
#include <cstring>

#include "dpp_chip/dpp_dev.h"
#include "dpp_dtb/dpp_dtb.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "qlix_comm/print.h"
#include "side_by_side.h"

namespace {

constexpr uint32_t DEV = 0;
constexpr uint32_t QUEUE = 1;
constexpr uint32_t POSTS = 20000;
constexpr int ROUNDS = 15;
constexpr uint64_t BUS = 0x100000000;

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
      dpp_dtb_wr32(reinterpret_cast<uint64_t>(memory.data()) + (address - BUS), 0x5A5A5AFF);
  }
  return 0;
}

uint32_t hook_read(uint32_t, uint32_t, uint32_t, uint32_t* data) {
  *data = 0;
  return 0;
}

double ours(uint32_t length, const uint32_t* data) {
  return side_by_side::time_of([&] {
           for (uint32_t i = 0; i < POSTS; i++) {
             if (dpp_dtb_write_down_table_data(DEV, QUEUE, length, data) != 0) {
               std::printf("a post failed\n");
               std::exit(1);
             }
           }
         }) /
         POSTS;
}

double bare(uint32_t length, const uint32_t* data) {
  return side_by_side::time_of([&] {
           for (uint32_t i = 0; i < POSTS; i++) {
             const uint32_t item = i % DPP_DTB_ITEM_NUM;
             const uint64_t bus = BUS + uint64_t{item} * DPP_DTB_ITEM_SIZE;
             std::memcpy(reinterpret_cast<uint8_t*>(memory.data()) + item * DPP_DTB_ITEM_SIZE + 16, data, length);
             dpp_reg_write32_bymn(DEV, dpp_regs::cfg_queue_dtb_addr_h_0_127::NUMBER, 0, QUEUE,
                                  static_cast<uint32_t>(bus >> 36));
             dpp_reg_write32_bymn(DEV, dpp_regs::cfg_queue_dtb_addr_l_0_127::NUMBER, 0, QUEUE,
                                  static_cast<uint32_t>(bus >> 4));
             dpp_reg_write32_bymn(DEV, dpp_regs::cfg_queue_dtb_len_0_127::NUMBER, 0, QUEUE, length / 4);
           }
         }) /
         POSTS;
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
  side_by_side::table table("ns, bare copy and three register writes");
  for (const uint32_t length : {64u, 1024u, 4092u}) {
    std::vector<double> our_times, bare_times;
    for (int round = 0; round < ROUNDS; round++) {
      our_times.push_back(ours(length, data.data()));
      bare_times.push_back(bare(length, data.data()));
      std::memset(memory.data(), 0, memory.size() * 4);
    }
    table.row("post and check " + std::to_string(length) + " bytes", our_times, bare_times, "2.0");
  }
  return 0;
}
