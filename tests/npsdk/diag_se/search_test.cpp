// Keys and addresses that the table managers place are found by the look-ups, which know nothing but the chip.
#include <random>

#include "../../bytes.h"
#include "../diag_blocks/card_device.h"
#include "../lpm/lpm_reference.h"
#include "../se/chip_link.h"
#include "dpp_memory/dpp_se_mem.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_se/dpp_hash.h"
#include "dpp_se/dpp_route.h"

namespace {

using lpm_reference::as_route;
using lpm_reference::random_prefix;

class SeSearch : public CommandsOnCard {
 protected:
  chip_link link_{.tables = tables()};
  dpp_se_writer writer_ = link_.writer();

  static void key_set(const std::vector<uint8_t>& key) {
    std::vector<uint8_t> padded = key;
    padded.resize(80);
    for (uint32_t first = 0; first < 16; first += 10) {
      std::vector<uint32_t> words = {0, first};
      for (uint32_t i = first; i < first + 10; ++i) {
        words.push_back(word_at(&padded[4 * i]));
      }
      text("diag_dpp_se_hash_key_data", words);
    }
  }
};

/// Engine 2, table 7, with one zcell of zblock 3 shared and one of zblock 12 that belongs to the table.
class HashSearch : public SeSearch {
 protected:
  static constexpr uint32_t engine = 2;
  static constexpr uint32_t table = 7;
  static constexpr uint32_t rst_len = 4;

  void set_up(uint32_t key_len, uint32_t ddr_items) {
    hash_ = std::make_unique<dpp_hash>();
    ASSERT_EQ(dpp_hash_init(hash_.get(), &writer_), 0u);
    ASSERT_EQ(dpp_hash_zblock_init(hash_.get(), 3, 0x8005), 0u);
    ASSERT_EQ(dpp_hash_zblock_init(hash_.get(), 12, 0xA02B), 0u);
    ASSERT_EQ(dpp_hash_zcell_add(hash_.get(), engine, 12, 1, 1), 0u);
    ASSERT_EQ(dpp_hash_zcell_add(hash_.get(), engine, 3, 2, 0), 0u);
    const dpp_hash_table_cfg cfg = {key_len, rst_len, ddr_items, 0x40, 0};
    ASSERT_EQ(dpp_hash_table_init(hash_.get(), engine, table, &cfg), 0u);
    for (const auto& [zblock, poly] : {std::pair<uint32_t, uint32_t>{3, 0x8005}, {12, 0xA02B}}) {
      set(dpp_regs::zblock_service_configure::NUMBER, zblock / 8, zblock % 8, {0, engine, 1});
      set(dpp_regs::zblock_hash_arg::NUMBER, zblock / 8, zblock % 8, {poly});
    }
    set(dpp_regs::zblock_hash_zcell_mono::NUMBER, 0, 3,
        {1, 1, 0, 0, 1, 1, 1, 1});  // cells 3, 1 and 0 belong to table 1
    set(dpp_regs::zblock_hash_zcell_mono::NUMBER, 1, 4, {1, 1, 1, 1, 1, table, 1, 1});
    set(dpp_regs::se_hash_tbl_cfg::NUMBER, engine, table, {key_len, 0, 0});
    if (ddr_items != 0) {
      set(dpp_regs::se_hash_bulk_ddr_cfg::NUMBER, engine, 6,
          {1, 0, static_cast<uint32_t>(__builtin_ctz(ddr_items)), 0x40});
    }
  }
  void TearDown() override {
    dpp_hash_destroy(hash_.get());
  }
  uint32_t insert(const std::vector<uint8_t>& key, uint32_t result) {
    const uint32_t rst = __builtin_bswap32(result);
    const dpp_hash_row row = {key.data(), reinterpret_cast<const uint8_t*>(&rst)};
    return dpp_hash_insert(hash_.get(), engine, table, &row);
  }
  std::string search(const std::vector<uint8_t>& key) {
    key_set(key);
    return text("diag_dpp_se_hash_search", {0, engine, table});
  }
  static std::string result_line(uint32_t result) {
    char line[32];
    snprintf(line, sizeof line, "result: %08x\n", result);
    return line;
  }

  std::unique_ptr<dpp_hash> hash_;
};

TEST_F(HashSearch, FindsWhatTheDriverPlaced) {
  for (const uint32_t key_len : {8u, 25u, 58u}) {
    set_up(key_len, 4);
    std::mt19937 rng(key_len);
    std::vector<std::vector<uint8_t>> keys;
    for (uint32_t i = 0; i < 40; ++i) {
      keys.push_back(random_bytes(rng, key_len));
      ASSERT_EQ(insert(keys.back(), 0xC0000000 + i), 0u);
    }
    for (uint32_t i = 0; i < keys.size(); ++i) {
      const std::string out = search(keys[i]);
      EXPECT_THAT(out, HasSubstr(result_line(0xC0000000 + i)));
      dpp_hash_where where;
      ASSERT_EQ(dpp_hash_search(hash_.get(), engine, table, keys[i].data(), nullptr, &where), 0u);
      EXPECT_THAT(out, HasSubstr("found in quarter " + std::to_string(where.quarter) + "\n"));
    }
    ASSERT_EQ(dpp_hash_delete(hash_.get(), engine, table, keys[0].data()), 0u);
    EXPECT_THAT(search(keys[0]), HasSubstr("not found\n"));
    EXPECT_THAT(search(random_bytes(rng, key_len)), HasSubstr("not found\n"));
    dpp_hash_destroy(hash_.get());
  }
}

// Keys that find their items taken overflow into the registers, which are searched when no zcell has the key.
TEST_F(HashSearch, FindsKeysInOverflowRegisters) {
  set_up(10, 0);
  std::mt19937 rng(5);
  uint32_t in_registers = 0;
  for (uint32_t i = 0; in_registers < 3 && i < 10000; ++i) {
    const std::vector<uint8_t> key = random_bytes(rng, 10);
    dpp_hash_where where;
    if (insert(key, i) != 0 || dpp_hash_search(hash_.get(), engine, table, key.data(), nullptr, &where) != 0 ||
        where.location >> 17 != 0xE) {
      continue;
    }
    ++in_registers;
    const std::string out = search(key);
    EXPECT_THAT(out, HasSubstr("zblock 12, zcell 1: polynomial 0xa02b"));
    EXPECT_THAT(out,
                HasSubstr(", zreg: HIT\nfound in quarter " + std::to_string(where.quarter) + "\n" + result_line(i)));
    EXPECT_THAT(out, Not(HasSubstr("zcell 0")));
  }
  EXPECT_EQ(in_registers, 3u);
}

TEST_F(HashSearch, SpillItemsAreShown) {
  set_up(8, 4);
  const std::vector<uint8_t> key = {1, 2, 3, 4, 5, 6, 7, 8};
  ASSERT_EQ(insert(key, 0xABCD), 0u);
  dpp_hash_where where;
  ASSERT_EQ(dpp_hash_search(hash_.get(), engine, table, key.data(), nullptr, &where), 0u);
  EXPECT_THAT(
      text("diag_dpp_se_hash_ddr4_item_prt", {0, engine, 6, where.ddr_index}),
      HasSubstr("quarter 0: hash_id 2, table_id 7, 128 bits\n  key and result: 01020304050607080000abcd0000\n"));
}

TEST_F(SeSearch, RoutesOfBothFamilies) {
  for (const uint32_t key_bytes : {4u, 16u}) {
    const bool v6 = key_bytes == 16;
    const dpp_route_cfg cfg = {key_bytes, 0x100, v6 ? 3u : 6u, 16, 0, 18};
    dpp_route_table* table = nullptr;
    ASSERT_EQ(dpp_route_create(&cfg, &writer_, &table), 0u);
    set(v6 ? dpp_regs::se_lpm_v6_ddr_cfg::NUMBER : dpp_regs::se_lpm_v4_ddr_cfg::NUMBER, 0, 5, {1, 0, 0x100});
    std::mt19937 rng(key_bytes);
    for (uint32_t i = 0; i < 150; ++i) {
      const lpm_route route = as_route(random_prefix(rng, key_bytes, 6), 0x1000 + i);
      ASSERT_EQ(dpp_route_insert(table, &route), 0u);
    }
    uint32_t hits = 0;
    for (uint32_t i = 0; i < 60; ++i) {
      lpm_route route = as_route(random_prefix(rng, key_bytes, 6, true));
      std::vector<uint32_t> words = {0, v6 ? 1u : 0u};
      for (uint32_t word = 0; word < key_bytes / 4; ++word) {
        words.push_back(word_at(route.key + 4 * word));
      }
      const std::string out = text("diag_dpp_se_lpm_search", words);
      if (dpp_route_search(table, &route, LPM_SRH_LONGEST) == 0) {
        char line[32];
        snprintf(line, sizeof line, "result 0x%06x\n", route.result);
        EXPECT_THAT(out, HasSubstr(line));
        ++hits;
      } else {
        EXPECT_THAT(out, HasSubstr("not found\n"));
      }
    }
    EXPECT_GT(hits, 5u);
    dpp_route_destroy(table);
  }
  EXPECT_THAT(text("diag_dpp_se_lpm_cfg_ex_prt", {0}),
              HasSubstr("area 5: v4 ddr_en 1, ddr_hash_en 0, ddr_baddr 0x0000100"));
}

// Chains that whoever wrote them closed into a ring, and a head that makes no sense, end the look-up.
TEST_F(SeSearch, BrokenRouteAreasEnd) {
  EXPECT_EQ(text("diag_dpp_se_lpm_search", {0, 0, 1}), "no IPv4 area is enabled\n");
  set(dpp_regs::se_lpm_v4_ddr_cfg::NUMBER, 0, 0, {1, 0, 1});
  EXPECT_THAT(text("diag_dpp_se_lpm_search", {0, 0, 1}), HasSubstr("no route table\n"));
  const uint32_t head[4] = {0x80040200, 0, 0x80000000, 0};  // four chains, anchors of length 0
  const uint32_t chains[4] = {1, 1, 1, 1};
  const uint32_t item[4] = {0x80000000, 1, 0, 0};  // the next item is this one
  ASSERT_EQ(dpp_se_smmu1_ind_write(0, 256, DPP_SE_DDR_128, head), 0u);
  ASSERT_EQ(dpp_se_smmu1_ind_write(0, 260, DPP_SE_DDR_128, chains), 0u);
  ASSERT_EQ(dpp_se_smmu1_ind_write(0, 261, DPP_SE_DDR_128, item), 0u);
  EXPECT_THAT(text("diag_dpp_se_lpm_search", {0, 0, 1}), HasSubstr("the chain does not end\nnot found\n"));
  const uint32_t wild[4] = {0x80FF1F00, 0, 0xFFFFFFFF, 0xFFFFFFFF};
  ASSERT_EQ(dpp_se_smmu1_ind_write(0, 256, DPP_SE_DDR_128, wild), 0u);
  EXPECT_THAT(text("diag_dpp_se_lpm_search", {0, 0, 1}), HasSubstr("no route table\n"));
  set(dpp_regs::se_lpm_v4_ddr_cfg::NUMBER, 0, 0, {1, 0, 0x3FFFFFF});
  EXPECT_EQ(command("diag_dpp_se_lpm_search", {0, 0, 1}).code, 0x1205u);
}

}  // namespace
