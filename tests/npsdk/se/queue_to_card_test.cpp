// The whole way of a table entry: shadow, command word, item in a huge page, doorbell, the card's DMA, its memories and
// its search; and what the card's queue engine counts of it.
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "../../printed.h"
#include "../reg/card_device.h"
#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_dtb/dpp_dtb.h"
#include "dpp_dtb/dpp_dtb_cfg.h"
#include "dpp_dtb/dpp_dtb_mem.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_se/dpp_crc.h"
#include "dpp_se/dpp_hash.h"
#include "vcard/np_search.h"

namespace {

class QueueToCard : public OnVirtualCard {
 protected:
  void SetUp() override {
    vcard::table_queues_attach(*card_, *processor_);
    card_->processes = [] { return std::vector<pid_t>{getpid()}; };
    ASSERT_TRUE(card_->create({}));
    uint32_t code = 0;
    const std::string lines = printed([&] { code = host_dtb_huge_mem_init(0); });
    if (code != 0) {
      EXPECT_EQ(code, DPP_RC_DTB_MEMORY);
      EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
      GTEST_SKIP() << lines;
    }
    ASSERT_EQ(host_dtb_queue_get(0, &queue_.queue_id), 0u);
  }
  void TearDown() override {
    EXPECT_EQ(host_dtb_huge_mem_release(0), 0u);
  }
  dpp_se_dtb queue_ = {0, 0};
};

TEST_F(QueueToCard, FindsKeysThatCameThroughAQueue) {
  const dpp_se_writer to_card = {dpp_se_dtb_write, &queue_};
  auto hash = std::make_unique<dpp_hash>();
  ASSERT_EQ(dpp_hash_init(hash.get(), &to_card), 0u);
  const vcard::NpHashSetup setup = {
      .zcells = {{31, 2}},
      .polynomial = {{31, DPP_CRC16_POLY[3]}},
      .engine = 5,
      .table = 9,
      .ddr_base = 0x40,
      .ddr_items = 32,
  };
  ASSERT_EQ(dpp_hash_zblock_init(hash.get(), 31, DPP_CRC16_POLY[3]), 0u);
  ASSERT_EQ(dpp_hash_zcell_add(hash.get(), 5, 31, 2, 1), 0u);
  const dpp_hash_table_cfg cfg = {12, 4, 32, 0x40, 0};
  ASSERT_EQ(dpp_hash_table_init(hash.get(), 5, 9, &cfg), 0u);
  for (uint32_t i = 0; i < 300; i++) {
    uint8_t key[12] = {};
    std::memcpy(key + 3, &i, sizeof(i));
    const uint8_t rst[4] = {1, 2, static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)};
    const dpp_hash_row row = {key, rst};
    ASSERT_EQ(dpp_hash_insert(hash.get(), 5, 9, &row), 0u);
    EXPECT_EQ(vcard::np_hash_search(tables(), setup, key, 4), std::vector<uint8_t>(rst, rst + 4));
    if (i % 3 == 0) {
      ASSERT_EQ(dpp_hash_delete(hash.get(), 5, 9, key), 0u);
      EXPECT_FALSE(vcard::np_hash_search(tables(), setup, key, 4).has_value());
    }
  }
  dpp_hash_destroy(hash.get());
}

TEST_F(QueueToCard, TheCardCountsItemsAndWhatGoesWrong) {
  const uint32_t queue = queue_.queue_id;
  uint32_t block[8] = {0x82, 0x02, 0, 0, 1, 2, 3, 4};  // writes 128-bit eRAM entry 2
  uint32_t item = 0;
  ASSERT_EQ(dpp_dtb_tab_down_info_set(0, queue, 1, sizeof block, block, &item), 0u);
  EXPECT_EQ(value(&dpp_regs::dtb_finish_int_event::finish_event), 1u << queue) << "the item asked for an interrupt";
  EXPECT_EQ(dpp_dtb_tab_down_success_status_check(0, queue, item), 0u);
  EXPECT_EQ(value(&dpp_regs::dtb_queue_down_cnt::down_cnt, 0, queue), 1u);
  EXPECT_EQ(tables().eram(2), (vcard::TableLine{0x01000000, 0x02000000, 0x03000000, 0x04000000}));
  block[0] = 0x02;  // is not valid
  EXPECT_EQ(dpp_dtb_write_down_table_data(0, queue, sizeof block, block), 0x5A5A5A01u);
  EXPECT_EQ(value(&dpp_regs::dtb_queue_state::last_status, 0, queue), 1u);
  // At a bus address where no memory is.
  const uint64_t nowhere = dpp_dev_get_dma_phy_addr(0) + (uint64_t{1} << 41);
  const dpp_dtb_queue_cfg cfg = {0, nowhere, dpp_dev_get_dma_vir_addr(0)};
  ASSERT_EQ(dpp_dtb_queue_down_init(0, queue, &cfg), 0u);
  dpp_dtb_down_table_overtime_set(2);
  const std::string told =
      printed([&] { EXPECT_EQ(dpp_dtb_write_down_table_data(0, queue, sizeof block, block), DPP_RC_DTB_OVERTIME); });
  dpp_dtb_down_table_overtime_set(2000);
  EXPECT_NE(told.find("axi_rd_resp_err_cnt [0]    : 0x00000001\n"), std::string::npos) << told;
}

TEST_F(QueueToCard, ThePageServesOneQueueAndGoesBackWithIt) {
  uint32_t again = 9;
  EXPECT_EQ(host_dtb_huge_mem_init(0), 0u);
  ASSERT_EQ(host_dtb_queue_get(0, &again), 0u);
  EXPECT_EQ(queue_.queue_id, again);
  EXPECT_EQ(dpp_dev_get_dma_phy_addr(0) % (2u << 20), 0u);
  dpp_dev_vport_set(0, 0x801);  // the queue is the vport's that took it
  EXPECT_EQ(host_dtb_huge_mem_release(0), 0u);
  dpp_dev_vport_set(0, 0);
  EXPECT_EQ(dpp_dev_get_dma_phy_addr(0), 0u);
  const uint32_t data[] = {1, 2};
  EXPECT_EQ(dpp_dtb_write_down_table_data(0, queue_.queue_id, sizeof data, data), DPP_RC_DTB_QUEUE_NOT_INIT);
}

}  // namespace
