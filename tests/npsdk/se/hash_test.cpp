#include "dpp_se/dpp_hash.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include "../../bytes.h"
#include "../../memory_fault.h"
#include "../../printed.h"
#include "chip_link.h"
#include "dpp_hash_index.h"
#include "dpp_se/dpp_crc.h"
#include "vcard/np_search.h"

namespace {

using bytes = std::vector<uint8_t>;

class Hash : public testing::Test {
 protected:
  void SetUp() override {
    const dpp_se_writer writer = link.writer();
    ASSERT_EQ(dpp_hash_init(hash.get(), &writer), 0u);
  }
  void TearDown() override {
    dpp_hash_destroy(hash.get());
  }
  void zcells(uint32_t engine, uint32_t zblock, std::initializer_list<uint32_t> cells, uint32_t dedicated = 0) {
    const uint32_t polynomial = DPP_CRC16_POLY[zblock % DPP_CRC16_POLY_NUM];
    ASSERT_EQ(dpp_hash_zblock_init(hash.get(), zblock, polynomial), 0u);
    for (const uint32_t cell : cells) {
      ASSERT_EQ(dpp_hash_zcell_add(hash.get(), engine, zblock, cell, dedicated), 0u);
      setup[engine].zcells.push_back({zblock, cell});
    }
    setup[engine].polynomial[zblock] = polynomial;
    setup[engine].engine = engine;
  }
  void table_init(uint32_t engine, uint32_t table, const dpp_hash_table_cfg& cfg) {
    ASSERT_EQ(dpp_hash_table_init(hash.get(), engine, table, &cfg), 0u);
  }
  uint32_t insert(uint32_t engine, uint32_t table, const bytes& key, const bytes& rst) {
    const dpp_hash_row row = {key.data(), rst.data()};
    return dpp_hash_insert(hash.get(), engine, table, &row);
  }
  uint32_t remove(uint32_t engine, uint32_t table, const bytes& key) {
    return dpp_hash_delete(hash.get(), engine, table, key.data());
  }
  /// What driver and chip say about a key; nothing when both have nothing. They must agree.
  bytes ask(uint32_t engine, uint32_t table, const bytes& key) {
    const dpp_hash_table& at = *hash->engine[engine].table[table];
    bytes rst(at.rst_len);
    const uint32_t code = dpp_hash_search(hash.get(), engine, table, key.data(), rst.data(), nullptr);
    vcard::NpHashSetup lookup = setup[engine];
    lookup.table = table;
    if (at.ddr_items != 0) {
      lookup.ddr_base = at.ddr_baddr;
      lookup.ddr_items = at.ddr_items;
    }
    const auto chip = vcard::np_hash_search(link.tables, lookup, key, at.rst_len);
    EXPECT_EQ(code, chip.has_value() ? 0u : DPP_HASH_RC_ABSENT);
    if (code == 0 && chip.has_value()) {
      EXPECT_EQ(rst, *chip);
    }
    return code == 0 ? rst : bytes();
  }
  /// The tables of an engine hold so many keys, in order.
  void order_check(uint32_t engine, size_t num) {
    ASSERT_EQ(dpp_hash_rewrite(hash.get(), engine), 0u);
    size_t found = 0;
    for (const dpp_hash_table* table : hash->engine[engine].table) {
      const dpp_hash_entry* before = nullptr;
      const auto look = [&](const dpp_hash_slot& slot) {
        const dpp_hash_entry* entry = dpp_hash_pool_entry(table->pool, slot.number);
        const size_t key_bytes = sizeof entry->order + DPP_HASH_HEAD_BYTES + table->key_len;
        EXPECT_TRUE(before == nullptr || std::memcmp(before->order, entry->order, key_bytes) < 0);
        before = entry;
        found++;
        return 0u;
      };
      if (table != nullptr) {
        dpp_hash_index_each(table->index, look);
      }
    }
    ASSERT_EQ(found, num);
  }

  chip_link link;
  std::unique_ptr<dpp_hash> hash = std::make_unique<dpp_hash>();
  std::map<uint32_t, vcard::NpHashSetup> setup;
};

TEST_F(Hash, PlacesByChecksumCellAndOrder) {
  zcells(2, 5, {1, 0});
  table_init(2, 7, {8, 30, 0, 0, 0});  // 512-bit entries: an item holds one
  const bytes key = {0x45, 1, 2, 3, 4, 5, 6, 7};
  uint8_t shaped[8];
  dpp_hash_set_crc_key(key.data(), 8, shaped);
  const uint32_t crc = dpp_crc16_table_lookup(shaped, 8, DPP_CRC16_POLY[5]) & 0xFFFF;
  // The keys differ in bits 7 to 5 of their first byte: one checksum, so each falls through to the next place.
  const uint32_t expected[] = {0xFu << 17 | (5u << 2 | 1u) << 9 | (crc >> 1 & 0x1FF),
                               0xFu << 17 | (5u << 2) << 9 | (crc & 0x1FF), 0xEu << 17 | (5u << 2) << 9};
  bytes same = key;
  for (uint32_t i = 0; i < 3; i++) {
    same[0] = static_cast<uint8_t>(key[0] ^ i << 5);
    ASSERT_EQ(insert(2, 7, same, bytes(30, static_cast<uint8_t>(i))), 0u);
    dpp_hash_where where;
    ASSERT_EQ(dpp_hash_search(hash.get(), 2, 7, same.data(), nullptr, &where), 0u);
    EXPECT_EQ(where.location, expected[i]) << i;
    EXPECT_EQ(ask(2, 7, same), bytes(30, static_cast<uint8_t>(i)));
  }
  same[0] = static_cast<uint8_t>(key[0] ^ 3u << 5);
  const dpp_hash_table& table = *hash->engine[2].table[7];
  EXPECT_EQ(insert(2, 7, same, bytes(30)), DPP_HASH_RC_TABLE_FULL);
  EXPECT_EQ(ask(2, 7, same), bytes());
  EXPECT_EQ(table.insert_fail_num, 1u);
  EXPECT_EQ(table.entry_num, 3u);
}

TEST_F(Hash, UsesSharedAndDedicatedCells) {
  zcells(0, 1, {0}, 1);
  zcells(0, 2, {0});
  ASSERT_EQ(dpp_hash_zblock_init(hash.get(), 1, DPP_CRC16_POLY[1]), 0u);
  const caught_output refusals;
  EXPECT_EQ(dpp_hash_zcell_add(hash.get(), 3, 1, 0, 0), 0x1205u);  // engine 0 owns it
  EXPECT_EQ(dpp_hash_zcell_add(hash.get(), 0, 2, 0, 0), 0x1205u);  // twice
  EXPECT_EQ(dpp_hash_zcell_add(hash.get(), 3, 9, 0, 0), 0x1201u);  // no such zblock
  zcells(3, 2, {0});
  table_init(3, 0, {4, 4, 0, 0, 0});
  ASSERT_EQ(dpp_hash_exclude_shared_set(hash.get(), 3, 1), 0u);  // its only cell is shared
  EXPECT_EQ(insert(3, 0, {9, 9, 9, 9}, {3, 3, 3, 3}), DPP_HASH_RC_TABLE_FULL);
}

TEST_F(Hash, RefusesWhatIsOutOfRange) {
  zcells(0, 0, {0});
  table_init(0, 0, {8, 4, 0, 0, 0});
  const dpp_hash_table_cfg bad[] = {
      {0, 4, 0, 0, 0}, {63, 0, 0, 0, 0}, {60, 3, 0, 0, 0}, {8, 4, 3, 0, 0}, {8, 4, 1u << 23, 0, 0}};
  const caught_output refusals;
  for (const dpp_hash_table_cfg& cfg : bad) {
    EXPECT_EQ(dpp_hash_table_init(hash.get(), 0, 1, &cfg), 0x1205u) << cfg.key_len;
  }
  EXPECT_EQ(dpp_hash_zblock_init(hash.get(), 0, 0x8BB7), 0x1205u);
  EXPECT_EQ(dpp_hash_zblock_init(hash.get(), 32, 0x1021), 0x1205u);
  EXPECT_EQ(insert(8, 0, bytes(8), bytes(4)), 0x1205u);
  EXPECT_EQ(insert(0, 32, bytes(8), bytes(4)), 0x1205u);
  EXPECT_EQ(insert(0, 5, bytes(8), bytes(4)), 0x1201u);
  EXPECT_EQ(dpp_hash_insert(hash.get(), 0, 0, nullptr), 0x1201u);
  EXPECT_EQ(dpp_hash_insert(nullptr, 0, 0, nullptr), 0x1201u);
  uint8_t shaped[1];
  EXPECT_EQ(dpp_hash_set_crc_key(shaped, 0, shaped), 0x1205u);
}

// A refused write, whether the chip carried it out or not, leaves driver and chip as they were. One that was carried
// out, with a repair that is refused too, is made good before the next change.
TEST_F(Hash, RefusedWritesChangeNothingAndRefusedRepairsAreOwed) {
  zcells(0, 0, {0, 1});
  const dpp_hash_table_cfg cfgs[] = {{8, 4, 0, 0, 0}, {8, 4, 4, 0, 0}};
  const bytes key = {1, 2, 3, 4, 5, 6, 7, 8}, lost = {8, 7, 6, 5, 4, 3, 2, 1}, other = {9, 9, 9, 9, 9, 9, 9, 9},
              old = {1, 1, 1, 1}, fresh = {2, 2, 2, 2};
  for (uint32_t table = 0; table < 2; table++) {
    table_init(0, table, cfgs[table]);
    ASSERT_EQ(insert(0, table, key, old), 0u);
    const struct {
      const char* what;
      std::function<uint32_t()> change;
    } changes[] = {
        {"insert", [&] { return insert(0, table, lost, fresh); }},
        {"update", [&] { return insert(0, table, key, fresh); }},
        {"delete", [&] { return remove(0, table, key); }},
    };
    for (const auto& change : changes) {
      SCOPED_TRACE(change.what);
      for (const bool carried_out : {false, true}) {
        link.fail(0, 1, carried_out);
        EXPECT_EQ(change.change(), chip_link::FAULT);
        EXPECT_EQ(ask(0, table, lost), bytes());
        EXPECT_EQ(ask(0, table, key), old);
      }
      link.fail(0, 2, true);
      EXPECT_EQ(change.change(), chip_link::FAULT);
      EXPECT_EQ(hash->debts.num, 1u);
      link.fail(0, 1, false);
      EXPECT_EQ(insert(0, table, other, old), chip_link::FAULT) << "the debt comes first";
      EXPECT_EQ(hash->engine[0].entry_num, table + 1);
      EXPECT_EQ(insert(0, table, other, old), 0u);
      EXPECT_EQ(hash->debts.num, 0u);
      EXPECT_EQ(ask(0, table, lost), bytes());
      EXPECT_EQ(ask(0, table, key), old);
      EXPECT_EQ(remove(0, table, other), 0u);
    }
  }
  link.fail(0, 2, true);
  EXPECT_EQ(insert(0, 0, lost, fresh), chip_link::FAULT);
  link.heal();
  EXPECT_EQ(dpp_hash_flush(hash.get()), 0u);
  EXPECT_EQ(ask(0, 0, lost), bytes());
}

// Two engines with shared and dedicated cells and tables of all widths, with and without spill area, filled until keys
// are refused: after every step driver, chip and model say the same of the key and of one at random.
TEST_F(Hash, LongRandomLife) {
  zcells(0, 0, {0, 1}, 1);
  zcells(0, 1, {0});
  zcells(0, 2, {0, 1, 2, 3}, 1);
  zcells(4, 3, {0, 3}, 1);
  ASSERT_EQ(dpp_hash_zcell_add(hash.get(), 4, 1, 0, 0), 0u);
  setup[4].zcells.push_back({1, 0});
  setup[4].polynomial[1] = DPP_CRC16_POLY[1];
  const struct {
    uint32_t engine, table;
    dpp_hash_table_cfg cfg;
  } rows[] = {{0, 0, {8, 4, 0, 0, 0}}, {0, 3, {16, 4, 256, 0x100, 0}}, {0, 31, {48, 8, 0, 0, 0}},
              {4, 0, {8, 4, 0, 0, 0}}, {4, 1, {1, 1, 0, 0, 0}},        {4, 2, {49, 13, 64, 0x200, 1}}};
  for (const auto& row : rows) {
    table_init(row.engine, row.table, row.cfg);
  }
  std::mt19937 rng(99);
  std::map<std::pair<size_t, bytes>, bytes> model;
  std::vector<std::pair<size_t, bytes>> used;
  const auto expect_agreement = [&](const std::pair<size_t, bytes>& name) {
    const auto found = model.find(name);
    EXPECT_EQ(ask(rows[name.first].engine, rows[name.first].table, name.second),
              found == model.end() ? bytes() : found->second);
  };
  uint32_t full = 0;
  for (int step = 0; step < 20000 && !HasFailure(); step++) {
    SCOPED_TRACE(step);
    const size_t at = rng() % std::size(rows);
    std::pair<size_t, bytes> name = {at, random_bytes(rng, rows[at].cfg.key_len)};
    if (rng() % 3 == 0 && !used.empty()) {
      name = used[rng() % used.size()];
    }
    const auto& where = rows[name.first];
    if (rng() % 4 != 0) {
      const bytes rst = random_bytes(rng, where.cfg.rst_len);
      const uint32_t code = insert(where.engine, where.table, name.second, rst);
      ASSERT_TRUE(code == 0 || (code == DPP_HASH_RC_TABLE_FULL && !model.contains(name)));
      full += code != 0 ? 1 : 0;
      if (code == 0) {
        model[name] = rst;
        used.push_back(name);
      }
    } else {
      ASSERT_EQ(remove(where.engine, where.table, name.second), model.erase(name) != 0 ? 0u : DPP_HASH_RC_ABSENT);
    }
    expect_agreement(name);
    if (!used.empty()) {
      expect_agreement(used[rng() % used.size()]);
    }
    if (step % 200 == 0) {
      order_check(0, hash->engine[0].entry_num);
      order_check(4, hash->engine[4].entry_num);
    }
  }
  EXPECT_GT(full, 0u);
  EXPECT_EQ(hash->engine[0].entry_num + hash->engine[4].entry_num, model.size());
}

// A table that outgrows its first slabs; keys that leave make room for others, a few of which find their places taken.
// Under soft reset nothing of it is written until all is rewritten.
TEST_F(Hash, ManyKeys) {
  zcells(0, 0, {0, 1, 2, 3});
  table_init(0, 0, {8, 4, 1u << 15, 0, 0});
  ASSERT_EQ(dpp_hash_soft_reset_set(hash.get(), 0, 1), 0u);
  std::mt19937 rng(17);
  std::map<bytes, bytes> model;
  const auto insert_any = [&] {
    const bytes key = random_bytes(rng, 8), rst = random_bytes(rng, 4);
    if (insert(0, 0, key, rst) == 0) {
      model[key] = rst;
    }
  };
  for (uint32_t i = 0; i < 120000; i++) {
    insert_any();
  }
  ASSERT_GT(model.size(), 65536u);
  const dpp_hash_table& table = *hash->engine[0].table[0];
  const uint32_t room = table.pool.room;
  for (uint32_t i = 0; i < 70000; i++) {
    const bytes gone = model.begin()->first;
    ASSERT_EQ(remove(0, 0, gone), 0u);
    EXPECT_EQ(remove(0, 0, gone), DPP_HASH_RC_ABSENT);
    model.erase(gone);
    insert_any();
  }
  EXPECT_EQ(table.pool.room, room);
  EXPECT_EQ(table.index.used, model.size());
  EXPECT_EQ(link.writes, 0u);
  ASSERT_EQ(dpp_hash_soft_reset_set(hash.get(), 0, 0), 0u);
  order_check(0, model.size());
  for (const auto& [key, rst] : model) {
    ASSERT_EQ(ask(0, 0, key), rst);
  }
}

// Each allocation of a growing table fails once: the call says so, changes nothing, and works the next time.
TEST(HashMemory, IsAskedForAgainAfterARefusal) {
  const dpp_se_writer writer = {[](void*, const dpp_se_write*) { return 0u; }, nullptr};
  const dpp_hash_table_cfg cfg = {4, 4, 4096, 0, 0};
  constexpr uint32_t step = 1u << 8;  // a key's first byte enters the checksum in part
  constexpr uint32_t keys = 300 * step;
  const auto bytes_of = [](uint32_t& number) { return reinterpret_cast<uint8_t*>(&number); };
  uint32_t faults = 0;
  for (bool fired = true; fired; faults++) {
    MemoryFault memory;
    auto hash = std::make_unique<dpp_hash>();
    ASSERT_EQ(dpp_hash_init(hash.get(), &writer), 0u);
    bool held = true;
    const auto again = [&held](const auto& call) {
      const uint32_t code = call();
      held = held && (code == 0 || (code == 0x1201 && call() == 0));
    };
    memory.arm(faults);
    const caught_output refusals;
    again([&] { return dpp_hash_table_init(hash.get(), 0, 0, &cfg); });
    for (uint32_t key = 0; key < keys; key += step) {
      const dpp_hash_row row = {bytes_of(key), bytes_of(key)};
      again([&] { return dpp_hash_insert(hash.get(), 0, 0, &row); });
    }
    EXPECT_TRUE(held) << faults;
    EXPECT_EQ(hash->engine[0].entry_num, keys / step);
    for (uint32_t key = 0; key < keys; key += step) {
      uint32_t found = 0;
      ASSERT_EQ(dpp_hash_search(hash.get(), 0, 0, bytes_of(key), bytes_of(found), nullptr), 0u);
      EXPECT_EQ(found, key);
    }
    dpp_hash_destroy(hash.get());
    fired = memory.fired();
  }
  EXPECT_GT(faults, 5u);
}

}  // namespace
