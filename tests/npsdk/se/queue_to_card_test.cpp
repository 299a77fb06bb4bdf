// The whole way of a table entry: shadow, command word, item in a huge page, doorbell, the card's DMA, its memories and
// its search.
#include <unistd.h>

#include <cstring>

#include "../reg/card_device.h"
#include "dpp_dtb/dpp_dtb_mem.h"
#include "dpp_se/dpp_crc.h"
#include "dpp_se/dpp_hash.h"
#include "vcard/np_search.h"

namespace {

TEST_F(OnVirtualCard, FindsKeysThatCameThroughAQueue) {
  vcard::table_queues_attach(*card_, *processor_);
  card_->processes = [] { return std::vector<pid_t>{getpid()}; };
  ASSERT_TRUE(card_->create({}));
  if (host_dtb_huge_mem_init(0) != 0) {
    GTEST_SKIP() << "no huge page, or its address is hidden";
  }
  dpp_se_dtb queue = {0, 0};
  ASSERT_EQ(host_dtb_queue_get(0, &queue.queue_id), 0u);
  const dpp_se_writer to_card = {dpp_se_dtb_write, &queue};
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
  EXPECT_EQ(host_dtb_huge_mem_release(0), 0u);
}

}  // namespace
