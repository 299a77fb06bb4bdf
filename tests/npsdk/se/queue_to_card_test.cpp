// The whole way of a table entry: shadow, command word, item in a huge page, doorbell, the card's DMA, its memories and
// its search.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "dpp_chip/dpp_dev.h"
#include "dpp_dtb/dpp_dtb_mem.h"
#include "dpp_se/dpp_crc.h"
#include "dpp_se/dpp_hash.h"
#include "dpp_se/dpp_route.h"
#include "qlix_comm/print.h"
#include "vcard/card.h"
#include "vcard/models.h"
#include "vcard/np_search.h"

namespace {

constexpr uint32_t DEV = 1;
constexpr uint64_t REGISTERS = 0x6218000000;  // in the card's address space

class QueueToCard : public testing::Test {
 protected:
  void SetUp() override {
    qlix_comm_set_print_en(0);
    vcard::NetworkProcessor& processor = vcard::network_processor_attach(card_);
    vcard::table_queues_attach(card_, processor);
    tables_ = &vcard::network_processor_tables(processor);
    card_.processes = [] { return std::vector<pid_t>{getpid()}; };
    ASSERT_TRUE(card_.create({}));
    now_ = this;
    dpp_dev_init();
    ASSERT_EQ(
        dpp_dev_add(DEV, DPP_DEV_TYPE_CHIP, DPP_DEV_ACCESS_TYPE_PCIE, 0x1000, 0, 0, 0, write, read, nullptr, nullptr),
        0u);
    if (host_dtb_huge_mem_init(DEV) != 0) {
      GTEST_SKIP() << "no huge page, or its address is hidden";
    }
    ASSERT_EQ(host_dtb_queue_get(DEV, &queue_.queue_id), 0u);
  }
  void TearDown() override {
    host_dtb_huge_mem_release(DEV);
    qlix_comm_set_print_en(1);
  }
  dpp_se_writer writer() {
    return {dpp_se_dtb_write, &queue_};
  }

  vcard::CardFile file_;
  vcard::RequestLog log_;
  vcard::Card card_{file_, log_};
  vcard::NpTables* tables_ = nullptr;
  dpp_se_dtb queue_ = {DEV, 0};

 private:
  static uint32_t write(uint32_t, uint32_t addr, uint32_t count, const uint32_t* data) {
    const std::lock_guard guard(now_->card_.lock());
    for (uint32_t i = 0; i < count; i++) {
      now_->card_.memory().write(REGISTERS + addr + i * 4, data[i]);
    }
    return 0;
  }
  static uint32_t read(uint32_t, uint32_t addr, uint32_t count, uint32_t* data) {
    const std::lock_guard guard(now_->card_.lock());
    for (uint32_t i = 0; i < count; i++) {
      data[i] = now_->card_.memory().read(REGISTERS + addr + i * 4);
    }
    return 0;
  }
  static inline QueueToCard* now_ = nullptr;
};

TEST_F(QueueToCard, KeysAreFoundByTheCard) {
  const dpp_se_writer to_card = writer();
  auto hash = std::make_unique<dpp_hash>();
  ASSERT_EQ(dpp_hash_init(hash.get(), &to_card), 0u);
  vcard::NpHashSetup setup;
  for (uint32_t zblock = 30; zblock < 32; zblock++) {
    setup.polynomial[zblock] = DPP_CRC16_POLY[zblock % DPP_CRC16_POLY_NUM];
    ASSERT_EQ(dpp_hash_zblock_init(hash.get(), zblock, setup.polynomial[zblock]), 0u);
    for (uint32_t cell = 0; cell < 4; cell++) {
      ASSERT_EQ(dpp_hash_zcell_add(hash.get(), 5, zblock, cell, 1), 0u);
      setup.zcells.push_back({zblock, cell});
    }
  }
  setup.engine = 5;
  setup.table = 9;
  setup.ddr_base = 0x40;
  setup.ddr_items = 32;
  const dpp_hash_table_cfg cfg = {12, 4, 32, 0x40, 0};
  ASSERT_EQ(dpp_hash_table_init(hash.get(), 5, 9, &cfg), 0u);
  for (uint32_t i = 0; i < 300; i++) {
    uint8_t key[12] = {};
    std::memcpy(key + 3, &i, sizeof(i));
    const uint8_t rst[4] = {1, 2, static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)};
    const dpp_hash_row row = {key, rst};
    ASSERT_EQ(dpp_hash_insert(hash.get(), 5, 9, &row), 0u);
    EXPECT_EQ(vcard::np_hash_search(*tables_, setup, key, 4), std::vector<uint8_t>(rst, rst + 4));
    if (i % 3 == 0) {
      ASSERT_EQ(dpp_hash_delete(hash.get(), 5, 9, key), 0u);
      EXPECT_FALSE(vcard::np_hash_search(*tables_, setup, key, 4).has_value());
    }
  }
  dpp_hash_destroy(hash.get());
}

TEST_F(QueueToCard, RoutesAreFoundByTheCard) {
  const dpp_se_writer to_card = writer();
  const dpp_route_cfg cfg = {4, 0x1000, 6, 4, 0, 20};
  dpp_route_table* table = nullptr;
  ASSERT_EQ(dpp_route_create(&cfg, &to_card, &table), 0u);
  std::mt19937 rng(2);
  for (uint32_t i = 0; i < 200; i++) {
    lpm_route route{};
    route.key[0] = 10;
    route.key[1] = static_cast<uint8_t>(rng() % 4);
    route.key[2] = static_cast<uint8_t>(rng());
    route.prefix_len = static_cast<uint16_t>(8 + rng() % 17);
    route.result = i;
    ASSERT_EQ(dpp_route_insert(table, &route), 0u);
    lpm_route address = route;
    address.key[3] = static_cast<uint8_t>(rng());
    address.prefix_len = 32;
    ASSERT_EQ(dpp_route_search(table, &address, LPM_SRH_LONGEST), 0u);
    EXPECT_EQ(vcard::np_lpm_search(*tables_, cfg.baddr, std::span(address.key).first(4)), address.result);
  }
  dpp_route_destroy(table);
}

}  // namespace
