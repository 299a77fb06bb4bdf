#include "dpp_se/dpp_route.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "../../memory_fault.h"
#include "../../printed.h"
#include "../../quiet.h"
#include "../../random_steps.h"
#include "../lpm/lpm_reference.h"
#include "chip_link.h"
#include "qlix_comm/memory.h"
#include "vcard/np_search.h"

namespace {

using lpm_reference::as_route;
using lpm_reference::prefix;

using Route = Quiet;

using table_owner = std::unique_ptr<dpp_route_table, decltype(&dpp_route_destroy)>;

table_owner make(chip_link& link, const dpp_route_cfg& cfg) {
  dpp_route_table* table = nullptr;
  const dpp_se_writer writer = link.writer();
  EXPECT_EQ(dpp_route_create(&cfg, &writer, &table), 0u);
  return {table, dpp_route_destroy};
}

prefix random_prefix(std::mt19937& rng, uint32_t key_bytes, bool full) {
  return lpm_reference::random_prefix(rng, key_bytes, 6, full);
}

/// Table, chip and model side by side.
class Life {
 public:
  Life(const dpp_route_cfg& cfg, uint32_t seed) : cfg_(cfg), rng_(seed), table_(make(link_, cfg)) {}
  uint32_t insert(const prefix& one, uint32_t result) {
    const lpm_route route = as_route(one, result);
    const uint32_t code = dpp_route_insert(table_.get(), &route);
    if (code == 0) {
      model_[one] = result;
      lpm_trie_node* node = nullptr;
      EXPECT_EQ(chw_lpm_trie_srh(&lpm()->trie, route.key, one.len, LPM_SRH_EXACT, &node, false), 0u);
      EXPECT_TRUE(level_jumps_ || lpm()->level == lpm_reference::level(*lpm(), node));
    }
    return code;
  }
  uint32_t remove(const prefix& one) {
    const lpm_route route = as_route(one);
    const uint32_t code = dpp_route_delete(table_.get(), &route);
    if (code == 0) {
      EXPECT_EQ(model_.erase(one), 1u);
    }
    return code;
  }
  /// One address: what the model, the table and the chip answer.
  void compare(const prefix& address) {
    const auto* expected = lpm_reference::longest(model_, address);
    lpm_route route = as_route(address);
    const uint32_t code = dpp_route_search(table_.get(), &route, LPM_SRH_LONGEST);
    const auto chip = vcard::np_lpm_search(link_.tables, cfg_.baddr, std::span(address.key).first(cfg_.key_bytes));
    EXPECT_EQ(code, expected != nullptr ? 0u : LPM_RC_NOT_FOUND);
    ASSERT_EQ(chip.has_value(), expected != nullptr);
    if (expected != nullptr) {
      EXPECT_EQ(route.result, expected->second);
      EXPECT_EQ(*chip, expected->second);
    }
  }
  void compare_some(int num) {
    for (int i = 0; i < num; i++) {
      compare(random_prefix(rng_, cfg_.key_bytes, true));
      if (!model_.empty()) {
        prefix under = any_route();
        under.len = cfg_.key_bytes * 8;
        compare(under);
      }
    }
  }
  void step() {
    const bool add = model_.empty() || rng_() % 5 < 3;
    const prefix fresh = random_prefix(rng_, cfg_.key_bytes, false);
    lpm_route asked = as_route(fresh);
    EXPECT_EQ(dpp_route_search(table_.get(), &asked, LPM_SRH_EXACT), model_.contains(fresh) ? 0u : LPM_RC_NOT_FOUND);
    if (add) {
      const uint32_t code = insert(fresh, static_cast<uint32_t>(rng_() % (DPP_ROUTE_RESULT_MAX + 1)));
      EXPECT_TRUE(code == 0 || code == DPP_ROUTE_RC_FULL) << std::hex << code;
    } else {
      const prefix victim = rng_() % 8 == 0 ? fresh : any_route();
      const bool known = model_.contains(victim);
      EXPECT_EQ(remove(victim), known ? 0u : LPM_RC_NOT_FOUND);
    }
  }
  void live(uint32_t steps) {
    for (uint32_t i = 0; i < steps && !testing::Test::HasFailure(); i++) {
      step();
      compare_some(1);
      if (i % 20 == 0) {
        lpm_reference::recount(lpm()->trie);
      }
    }
  }
  /// Takes every route out; nothing is left of them.
  void end() {
    while (!model_.empty()) {
      ASSERT_EQ(remove(model_.begin()->first), 0u);
    }
    compare_some(20);
    EXPECT_EQ(stat().item_num, 0u);
    EXPECT_EQ(stat().block_num, 0u);
    EXPECT_EQ(lpm()->trie.root, nullptr);
    EXPECT_EQ(lpm()->trie.pool.slabs, nullptr);
  }
  prefix any_route() {
    return std::next(model_.begin(), static_cast<long>(rng_() % model_.size()))->first;
  }
  chw_lpm* lpm() const {
    return dpp_route_lpm_get(table_.get());
  }
  dpp_route_stat stat() const {
    dpp_route_stat stat;
    EXPECT_EQ(dpp_route_stat_get(table_.get(), &stat), 0u);
    return stat;
  }
  chip_link link_;
  dpp_route_cfg cfg_;
  std::mt19937 rng_;
  table_owner table_;
  std::map<prefix, uint32_t> model_;
  bool level_jumps_ = false;
};

const dpp_route_cfg CFGS[] = {
    {4, 0x100, 8, 4, 0, 20},  {4, 0x100, 8, 4, CHW_LPM_FLAG_OUT_MODE, 20},
    {2, 0x200, 2, 2, 0, 4},   {2, 0x200, 2, 2, CHW_LPM_FLAG_OUT_MODE, 4},
    {16, 0x300, 6, 3, 0, 40}, {18, 0x300, 6, 2, CHW_LPM_FLAG_OUT_MODE, 40},
    {6, 0, 5, 1, 0, 30},      {1, 0x400, 2, 1, 0, 4},
    {9, 0x400, 5, 1, 0, 30},
};

/// Runs a life on each shape of table.
template <typename Run>
void each_table(uint32_t seed, const Run& run) {
  for (const dpp_route_cfg& cfg : CFGS) {
    SCOPED_TRACE(testing::Message() << "key " << cfg.key_bytes << " flags " << cfg.flags);
    Life life(cfg, seed + cfg.key_bytes * 2 + cfg.flags);
    run(life);
  }
}

TEST_F(Route, RandomLifeAgreesWithModelAndChip) {
  each_table(0, [](Life& life) {
    life.live(random_steps(1500));
    life.end();
  });
}

// Enough routes that the short cuts of the trie are built, used while it changes, and dropped.
TEST_F(Route, LargeLifeAgreesWithModelAndChip) {
  for (const uint32_t key_bytes : {4u, 16u}) {
    Life life({key_bytes, 0, 10, 256, 0, 20}, key_bytes);
    for (uint32_t i = 0; life.model_.size() < 2500; i++) {
      life.insert(random_prefix(life.rng_, key_bytes, false), i);
    }
    EXPECT_NE(life.lpm()->trie.index, nullptr);
    life.live(random_steps(800));
    life.end();
  }
}

struct snapshot {
  std::vector<lpm_reference::node_state> trie;
  std::vector<void*> items;
  uint32_t item_num, block_num, level;
  explicit snapshot(const Life& life) : trie(lpm_reference::states(life.lpm()->trie)) {
    for (auto* link = life.lpm()->trie.list.first; link != nullptr; link = link->next) {
      items.push_back(static_cast<lpm_trie_node*>(link->data)->item_info);
    }
    const dpp_route_stat stat = life.stat();
    item_num = stat.item_num;
    block_num = stat.block_num;
    level = stat.level;
  }
  bool operator==(const snapshot&) const = default;
};

// The level moves with the table; here it jumps before every placement, so that items are offered above and below each
// other in every way.
TEST_F(Route, RandomLifeUnderAJumpingLevel) {
  each_table(7000, [](Life& life) {
    static std::mt19937* rng;
    rng = &life.rng_;
    static chw_lpm_callbacks real;
    real = life.lpm()->callbacks;
    life.level_jumps_ = true;
    life.lpm()->callbacks.cb_save_rst = [](chw_lpm* lpm, lpm_trie_node* node, const lpm_route* route) {
      lpm->level = static_cast<uint32_t>((*rng)() % (lpm->trie.key_size * 8));
      return real.cb_save_rst(lpm, node, route);
    };
    life.live(random_steps(3000));
    life.end();
  });
}

// The chip refuses the n-th write of an operation and some after it; it may have carried them out all the same.
TEST_F(Route, AFailureAtEveryWriteIsUndone) {
  qlix_comm_set_print_level(QLIX_TRACE_ERROR_PRINT);
  const caught_output out;
  int failures = 0;
  for (const bool carried_out : {false, true}) {
    each_table(70, [&](Life& life) {
      for (uint32_t step = 0; step < 250; step++) {
        const bool remove = step % 3 == 2 && !life.model_.empty();
        const prefix one = remove ? life.any_route() : random_prefix(life.rng_, life.cfg_.key_bytes, false);
        uint32_t code = chip_link::FAULT;
        for (uint32_t at = 0; code == chip_link::FAULT && !HasFailure(); at++) {
          snapshot before(life);
          life.link_.fail(at, 1 + at % 3, carried_out);
          code = remove ? life.remove(one) : life.insert(one, step);
          life.link_.heal();
          if (code == chip_link::FAULT) {
            failures++;
            const snapshot after(life);
            // A refused update of a route that is there leaves the level that looking it up has set.
            before.level = life.model_.contains(one) ? after.level : before.level;
            EXPECT_EQ(after, before);
          }
          EXPECT_EQ(dpp_route_flush(life.table_.get()), 0u);
          life.compare_some(1);
        }
      }
    });
  }
  EXPECT_GT(failures, 1000);
  const std::string lines = out.take();
  for (const char* part : {"Call fun_swap_cpy Fail!", "\n Error[0x5a5a5a01] in chw_lpm_insert_item"}) {
    EXPECT_NE(lines.find(part), std::string::npos) << part;
  }
}

// Each allocation of a growing table fails once, with and without a chip that refuses at the same time, so that what is
// owed finds no memory either. The call says so and changes nothing; the program goes on.
TEST_F(Route, NoMemoryIsACode) {
  uint32_t out_of_memory = 0;
  for (const bool refusing : {false, true}) {
    bool fired = true;
    for (size_t fault = 0; fired && !HasFailure(); fault++) {
      MemoryFault memory;
      Life life({4, 0, 2, 64, 0, 20}, 5);
      memory.arm(fault);
      for (uint32_t step = 0; step < 300; step++) {
        if (refusing) {
          life.link_.fail(step % 4, 1 + step % 3, true);
        }
        const prefix one = random_prefix(life.rng_, 4, false);
        const uint32_t code = life.insert(one, step);
        out_of_memory += code == 0x1201 ? 1 : 0;
        EXPECT_TRUE(code == 0 || code == 0x1201 || (refusing && code == chip_link::FAULT)) << std::hex << code;
        life.link_.heal();
        ASSERT_EQ(dpp_route_flush(life.table_.get()), 0u);
      }
      life.compare_some(200);
      fired = memory.fired();
    }
  }
  EXPECT_GT(out_of_memory, 3u);
}

TEST_F(Route, GivesBlocksBackAsRoutesGo) {
  Life life({4, 0, 10, 64, 0, 0}, 3);
  const auto fill = [&] {
    for (uint32_t i = 0; life.model_.size() < 4000; i++) {
      const prefix one = {{static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)}, 16};
      ASSERT_EQ(life.insert(one, i), 0u);
    }
  };
  fill();
  const dpp_route_stat filled = life.stat();
  for (uint32_t round = 0; round < 3; round++) {
    while (life.model_.size() > 500) {
      ASSERT_EQ(life.remove(std::next(life.model_.begin(), static_cast<long>(life.rng_() % 500))->first), 0u);
    }
    const dpp_route_stat thin = life.stat();
    EXPECT_LE(thin.block_num * DPP_ROUTE_BLOCK_ITEMS, thin.item_num + 2 * DPP_ROUTE_BLOCK_ITEMS);
    life.compare_some(100);
    fill();
  }
  EXPECT_LE(life.stat().item_num, filled.item_num + filled.item_num / 8);
}

// Card memory and posts are what a route costs: items fill up, and most inserts write one row.
TEST_F(Route, RoutesOfAFullTableShareItems) {
  const struct {
    uint32_t key_bytes, block_byte, len, routes_an_item;
  } rows[] = {{4, 1, 24, 4}, {16, 3, 48, 4}, {16, 3, 64, 3}, {18, 15, 144, 3}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.key_bytes << " bytes, /" << row.len);
    Life life({row.key_bytes, 0, 12, 64, 0, 20}, row.len);
    const uint32_t writes = life.link_.writes;
    uint32_t routes = 0;
    for (; routes < 3000; routes++) {
      prefix one{{}, row.len};
      one.key[row.block_byte] = static_cast<uint8_t>(life.rng_() % 64);
      std::generate(one.key.data() + row.block_byte + 1, one.key.data() + row.len / 8, std::ref(life.rng_));
      ASSERT_EQ(life.insert(one, routes), 0u);
    }
    EXPECT_LE(life.link_.writes - writes, routes * 13 / 10);
    const dpp_route_stat stat = life.stat();
    EXPECT_GE(stat.route_num, row.routes_an_item * stat.item_num);
    life.compare_some(200);
  }
}

TEST_F(Route, StoreAndRecoveryGoOnWhereTheTableStood) {
  each_table(700, [](Life& life) {
    life.live(600);
    size_t size = 0;
    uint8_t* blob = nullptr;
    ASSERT_EQ(dpp_route_store(life.table_.get(), &size, &blob), 0u);
    const std::vector<uint8_t> saved(blob, blob + size);
    ic_comm_free_memory(blob);
    const uint32_t writes = life.link_.writes;
    const snapshot before(life);

    dpp_route_table* again = nullptr;
    const dpp_se_writer writer = life.link_.writer();
    ASSERT_EQ(dpp_route_recovery(saved.data(), saved.size(), &writer, &again), 0u);
    life.table_.reset(again);
    EXPECT_EQ(life.link_.writes, writes);  // the chip holds the items already
    const snapshot after(life);
    EXPECT_EQ(after.trie, before.trie);
    EXPECT_EQ(after.item_num, before.item_num);
    EXPECT_EQ(after.level, before.level);
    life.live(600);

    // Damaged bytes are refused, or describe a table that can be torn down and used.
    std::mt19937 rng(1);
    for (int i = 0; i < 300; i++) {
      std::vector<uint8_t> damaged = saved;
      damaged[36 + rng() % (damaged.size() - 36)] = static_cast<uint8_t>(rng());
      dpp_route_table* other = nullptr;
      chip_link nowhere;
      const dpp_se_writer sink = nowhere.writer();
      const uint32_t code = dpp_route_recovery(damaged.data(), damaged.size() - rng() % 2, &sink, &other);
      EXPECT_EQ(code, other != nullptr ? 0u : DPP_ROUTE_RC_STORE);
      while (other != nullptr && dpp_route_lpm_get(other)->trie.root != nullptr) {
        auto* node = static_cast<lpm_trie_node*>(dpp_route_lpm_get(other)->trie.list.first->data);
        while (node->valid == 0) {
          node = static_cast<lpm_trie_node*>(node->link.next->data);
        }
        lpm_route route{};
        std::memcpy(route.key, node->key, sizeof(route.key));
        route.prefix_len = node->prefix_len;
        ASSERT_EQ(dpp_route_delete(other, &route), 0u);
      }
      dpp_route_destroy(other);
    }
  });
}

// Seven routes fit one item only because they share its anchor: bytes that say so of a shorter one must not be written.
TEST_F(Route, RefusesASavedItemThatHoldsMoreThanAnItemCan) {
  Life life({18, 0, 12, 1, 0, 0}, 9);
  for (uint32_t i = 0; i < 8; i++) {
    prefix one{{}, 144};
    one.key[17] = static_cast<uint8_t>(i == 1 ? 0xFF : i);  // the second parts from the first at once
    ASSERT_EQ(life.insert(one, i), 0u);
  }
  size_t size = 0;
  uint8_t* blob = nullptr;
  ASSERT_EQ(dpp_route_store(life.table_.get(), &size, &blob), 0u);
  const std::unique_ptr<uint8_t, decltype(&ic_comm_free_memory)> owner(blob, ic_comm_free_memory);
  uint8_t* const last = blob + size - (12 + DPP_ROUTE_SLOTS_MAX * sizeof(uint32_t));
  ASSERT_EQ(last[11], DPP_ROUTE_SLOTS_MAX);
  dpp_route_table* again = nullptr;
  const dpp_se_writer writer = life.link_.writer();
  ASSERT_EQ(dpp_route_recovery(blob, size, &writer, &again), 0u);
  dpp_route_destroy(again);
  last[10] = 0;  // the length of its anchor
  EXPECT_EQ(dpp_route_recovery(blob, size, &writer, &again), DPP_ROUTE_RC_STORE);
  EXPECT_EQ(again, nullptr);
  dpp_route_destroy(again);
}

TEST_F(Route, RefusesWhatIsOutOfRange) {
  chip_link link;
  const dpp_se_writer writer = link.writer();
  dpp_route_table* table = nullptr;
  const dpp_route_cfg bad[] = {{0, 0, 8, 1, 0, 0},  {19, 0, 8, 1, 0, 0}, {4, 1u << 20, 8, 1, 0, 0}, {4, 0, 1, 1, 0, 0},
                               {4, 0, 25, 1, 0, 0}, {4, 0, 8, 0, 0, 0},  {4, 0, 8, 65537, 0, 0},    {4, 0, 8, 1, 2, 0}};
  for (const dpp_route_cfg& cfg : bad) {
    EXPECT_EQ(dpp_route_create(&cfg, &writer, &table), 0x1205u);
    EXPECT_EQ(table, nullptr);
  }
  link.fail(0, 1, false);
  EXPECT_EQ(dpp_route_create(&CFGS[0], &writer, &table), chip_link::FAULT);
  const table_owner good = make(link, CFGS[0]);
  lpm_route route{{10}, 33, 1};
  EXPECT_EQ(dpp_route_insert(good.get(), &route), 0x1205u);
  EXPECT_EQ(dpp_route_delete(good.get(), &route), 0x1205u);
  route = {{10}, 8, DPP_ROUTE_RESULT_MAX + 1};
  EXPECT_EQ(dpp_route_insert(good.get(), &route), 0x1205u);
}

}  // namespace
