#include "dpp_se/dpp_route.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "../../memory_fault.h"
#include "../../random_steps.h"
#include "../lpm/lpm_reference.h"
#include "chip_link.h"
#include "qlix_comm/memory.h"
#include "qlix_comm/print.h"
#include "vcard/np_search.h"

namespace {

using lpm_reference::prefix;

/// Thousands of refusals are wanted here; their lines are not.
class Route : public testing::Test {
 protected:
  void SetUp() override {
    qlix_comm_set_print_en(0);
  }
  void TearDown() override {
    qlix_comm_set_print_en(1);
  }
};

struct table_free {
  void operator()(dpp_route_table* table) const {
    dpp_route_destroy(table);
  }
};
using table_owner = std::unique_ptr<dpp_route_table, table_free>;

table_owner make(chip_link& link, const dpp_route_cfg& cfg) {
  dpp_route_table* table = nullptr;
  const dpp_se_writer writer = link.writer();
  EXPECT_EQ(dpp_route_create(&cfg, &writer, &table), 0u);
  return table_owner(table);
}

lpm_route as_route(const prefix& one, uint32_t result = 0) {
  lpm_route route{};
  std::memcpy(route.key, one.key.data(), sizeof(route.key));
  route.prefix_len = static_cast<uint16_t>(one.len);
  route.result = result;
  return route;
}

prefix random_prefix(std::mt19937& rng, uint32_t key_bytes, bool full) {
  prefix one;
  one.len = full ? key_bytes * 8 : static_cast<uint32_t>(rng() % (key_bytes * 8 + 1));
  for (uint32_t bit = 0; bit < one.len; bit++) {
    if (rng() % 6 == 0) {
      one.key[bit / 8] = static_cast<uint8_t>(one.key[bit / 8] | 0x80 >> bit % 8);
    }
  }
  return one;
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
        prefix under = std::next(model_.begin(), static_cast<long>(rng_() % model_.size()))->first;
        under.len = cfg_.key_bytes * 8;
        compare(under);
      }
    }
  }
  void step() {
    const bool add = model_.empty() || rng_() % 5 < 3;
    const prefix fresh = random_prefix(rng_, cfg_.key_bytes, false);
    if (add) {
      const uint32_t code = insert(fresh, static_cast<uint32_t>(rng_() % (DPP_ROUTE_RESULT_MAX + 1)));
      EXPECT_TRUE(code == 0 || code == DPP_ROUTE_RC_FULL) << std::hex << code;
      full_ += code != 0 ? 1 : 0;
    } else {
      const prefix victim =
          rng_() % 8 == 0 ? fresh : std::next(model_.begin(), static_cast<long>(rng_() % model_.size()))->first;
      const bool known = model_.contains(victim);
      EXPECT_EQ(remove(victim), known ? 0u : LPM_RC_NOT_FOUND);
    }
  }
  chip_link link_;
  dpp_route_cfg cfg_;
  std::mt19937 rng_;
  table_owner table_;
  std::map<prefix, uint32_t> model_;
  uint32_t full_ = 0;
};

dpp_route_stat stat_of(const Life& life) {
  dpp_route_stat stat;
  EXPECT_EQ(dpp_route_stat_get(life.table_.get(), &stat), 0u);
  return stat;
}

const dpp_route_cfg CFGS[] = {
    {4, 0x100, 8, 4, 0, 20},  {4, 0x100, 8, 4, CHW_LPM_FLAG_OUT_MODE, 20},
    {2, 0x200, 2, 2, 0, 4},   {2, 0x200, 2, 2, CHW_LPM_FLAG_OUT_MODE, 4},
    {16, 0x300, 6, 3, 0, 40}, {18, 0x300, 6, 2, CHW_LPM_FLAG_OUT_MODE, 40},
    {6, 0, 5, 1, 0, 30},
};

TEST_F(Route, RandomLifeAgreesWithModelAndChip) {
  for (const dpp_route_cfg& cfg : CFGS) {
    SCOPED_TRACE(testing::Message() << "key " << cfg.key_bytes << " flags " << cfg.flags);
    Life life(cfg, cfg.key_bytes * 2 + cfg.flags);
    for (uint32_t step = 0; step < random_steps(1500) && !testing::Test::HasFailure(); step++) {
      life.step();
      life.compare_some(1);
      if (step % 50 == 0) {
        lpm_reference::recount(dpp_route_lpm_get(life.table_.get())->trie);
      }
    }
    while (!life.model_.empty()) {
      ASSERT_EQ(life.remove(life.model_.begin()->first), 0u);
    }
    life.compare_some(20);
    EXPECT_EQ(stat_of(life).item_num, 0u);
    EXPECT_EQ(stat_of(life).block_num, 0u);
  }
}

// Stands before the callbacks of a table and lets the n-th placing call fail without doing anything.
struct interposed {
  chw_lpm_callbacks real;
  int fail_at = -1;
  int calls = 0;
  int swaps = 0;
  static constexpr uint32_t FAULT = 0x777;

  explicit interposed(dpp_route_table* table) {
    chw_lpm* lpm = dpp_route_lpm_get(table);
    real = lpm->callbacks;
    now = this;
    lpm->callbacks.cb_place = [](chw_lpm* of, lpm_trie_node* at, lpm_trie_node* node, uint32_t level) {
      return now->fails() ? FAULT : now->real.cb_place(of, at, node, level);
    };
    lpm->callbacks.cb_take_over = [](chw_lpm* of, lpm_trie_node* examined, lpm_trie_node* node) {
      return now->fails() ? FAULT : now->real.cb_take_over(of, examined, node);
    };
    lpm->callbacks.cb_get_swap_out = [](chw_lpm* of, lpm_trie_node* node, lpm_trie_node** out, uint32_t reserved) {
      now->swaps++;
      return now->fails() ? FAULT : now->real.cb_get_swap_out(of, node, out, reserved);
    };
    lpm->callbacks.cb_swap_copy = [](chw_lpm* of, lpm_trie_node* from, lpm_trie_node* to) {
      return now->fails() ? FAULT : now->real.cb_swap_copy(of, from, to);
    };
    lpm->callbacks.cb_update = [](chw_lpm* of, lpm_trie_node* node, const lpm_route* route) {
      return now->fails() ? FAULT : now->real.cb_update(of, node, route);
    };
  }

 private:
  bool fails() {
    return calls++ == fail_at;
  }
  static inline interposed* now = nullptr;
};

struct snapshot {
  std::vector<lpm_reference::node_state> trie;
  std::vector<void*> items;
  uint32_t item_num, block_num, level;
  explicit snapshot(const Life& life) : trie(lpm_reference::states(dpp_route_lpm_get(life.table_.get())->trie)) {
    for (auto* link = dpp_route_lpm_get(life.table_.get())->trie.list.first; link != nullptr; link = link->next) {
      items.push_back(static_cast<lpm_trie_node*>(link->data)->item_info);
    }
    const dpp_route_stat stat = stat_of(life);
    item_num = stat.item_num;
    block_num = stat.block_num;
    level = stat.level;
  }
  bool operator==(const snapshot&) const = default;
};

/// A refused update of a route that is there leaves the level that looking it up has set.
void expect_undone(const Life& life, snapshot before, const prefix& one) {
  const snapshot after(life);
  before.level = life.model_.contains(one) ? after.level : before.level;
  ASSERT_EQ(after, before);
}

// The level moves with the table; here it jumps before every placement, so that items are offered above and below each
// other in every way.
TEST_F(Route, RandomLifeUnderAJumpingLevel) {
  for (const dpp_route_cfg& cfg : CFGS) {
    SCOPED_TRACE(testing::Message() << "key " << cfg.key_bytes << " flags " << cfg.flags);
    Life life(cfg, 7000 + cfg.key_bytes);
    static std::mt19937* rng;
    rng = &life.rng_;
    static chw_lpm_callbacks real;
    real = dpp_route_lpm_get(life.table_.get())->callbacks;
    dpp_route_lpm_get(life.table_.get())->callbacks.cb_save_rst = [](chw_lpm* lpm, lpm_trie_node* node,
                                                                     const lpm_route* route) {
      lpm->level = static_cast<uint32_t>((*rng)() % (lpm->trie.key_size * 8));
      return real.cb_save_rst(lpm, node, route);
    };
    for (uint32_t step = 0; step < random_steps(3000) && !testing::Test::HasFailure(); step++) {
      life.step();
      life.compare_some(1);
    }
    while (!life.model_.empty() && !testing::Test::HasFailure()) {
      ASSERT_EQ(life.remove(life.model_.begin()->first), 0u);
    }
    EXPECT_EQ(stat_of(life).item_num, 0u);
  }
}

TEST_F(Route, AFailureAtEveryCallbackIsUndone) {
  int swaps = 0, failures = 0;
  for (const dpp_route_cfg& cfg : CFGS) {
    SCOPED_TRACE(testing::Message() << "key " << cfg.key_bytes << " flags " << cfg.flags);
    Life life(cfg, 7 + cfg.key_bytes);
    interposed fault(life.table_.get());
    for (int step = 0; step < 400 && !testing::Test::HasFailure(); step++) {
      const prefix fresh = random_prefix(life.rng_, cfg.key_bytes, false);
      for (int at = 0;; at++) {
        const snapshot before(life);
        fault.calls = 0;
        fault.fail_at = at;
        const uint32_t code = life.insert(fresh, static_cast<uint32_t>(step));
        fault.fail_at = -1;
        if (code != interposed::FAULT) {
          break;
        }
        failures++;
        expect_undone(life, before, fresh);
        life.compare_some(1);
      }
      if (step % 4 == 0) {
        life.step();
      }
    }
    swaps += fault.swaps;
  }
  EXPECT_GT(swaps, 20);
  EXPECT_GT(failures, 1000);
}

// The chip refuses the n-th write of an operation and some after it; it may have carried them out all the same.
TEST_F(Route, AFailureAtEveryWriteIsUndone) {
  int failures = 0;
  for (const dpp_route_cfg& cfg : CFGS) {
    for (const bool carried_out : {false, true}) {
      SCOPED_TRACE(testing::Message() << "key " << cfg.key_bytes << " flags " << cfg.flags << " " << carried_out);
      Life life(cfg, 70 + cfg.key_bytes);
      for (int step = 0; step < 250 && !testing::Test::HasFailure(); step++) {
        const prefix fresh = random_prefix(life.rng_, cfg.key_bytes, false);
        const bool remove = step % 3 == 2 && !life.model_.empty();
        const prefix one =
            remove ? std::next(life.model_.begin(), static_cast<long>(life.rng_() % life.model_.size()))->first : fresh;
        for (uint32_t at = 0;; at++) {
          const snapshot before(life);
          life.link_.fail(at, 1 + at % 3, carried_out);
          const uint32_t code = remove ? life.remove(one) : life.insert(one, static_cast<uint32_t>(step));
          life.link_.heal();
          if (code != chip_link::FAULT) {
            break;
          }
          failures++;
          expect_undone(life, before, one);
          ASSERT_EQ(dpp_route_flush(life.table_.get()), 0u);
          life.compare_some(1);
        }
        ASSERT_EQ(dpp_route_flush(life.table_.get()), 0u);
        life.compare_some(1);
      }
    }
  }
  EXPECT_GT(failures, 1000);
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
  for (uint32_t i = 0; i < 4000; i++) {
    prefix one;
    one.len = 16;
    one.key = {static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)};
    ASSERT_EQ(life.insert(one, i), 0u);
  }
  const dpp_route_stat filled = stat_of(life);
  for (uint32_t round = 0; round < 3; round++) {
    while (life.model_.size() > 500) {
      ASSERT_EQ(life.remove(std::next(life.model_.begin(), static_cast<long>(life.rng_() % 500))->first), 0u);
    }
    const dpp_route_stat thin = stat_of(life);
    EXPECT_LE(thin.block_num * DPP_ROUTE_BLOCK_ITEMS, thin.item_num + 2 * DPP_ROUTE_BLOCK_ITEMS);
    life.compare_some(100);
    for (uint32_t i = 0; life.model_.size() < 4000; i++) {
      prefix one;
      one.len = 16;
      one.key = {static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)};
      ASSERT_EQ(life.insert(one, i), 0u);
    }
  }
  EXPECT_LE(stat_of(life).item_num, filled.item_num + filled.item_num / 8);
}

TEST_F(Route, StoreAndRecoveryGoOnWhereTheTableStood) {
  for (const dpp_route_cfg& cfg : CFGS) {
    SCOPED_TRACE(testing::Message() << "key " << cfg.key_bytes << " flags " << cfg.flags);
    Life life(cfg, 700 + cfg.key_bytes);
    for (int step = 0; step < 600; step++) {
      life.step();
    }
    size_t size = 0;
    uint8_t* blob = nullptr;
    ASSERT_EQ(dpp_route_store(life.table_.get(), &size, &blob), 0u);
    const std::vector<uint8_t> saved(blob, blob + size);
    ic_comm_free_memory(blob);
    const uint32_t writes = life.link_.writes;
    const dpp_route_stat stat = stat_of(life);

    dpp_route_table* again = nullptr;
    const dpp_se_writer writer = life.link_.writer();
    ASSERT_EQ(dpp_route_recovery(saved.data(), saved.size(), &writer, &again), 0u);
    life.table_.reset(again);
    EXPECT_EQ(life.link_.writes, writes);  // the chip holds the items already
    const dpp_route_stat after = stat_of(life);
    EXPECT_EQ(after.route_num, stat.route_num);
    EXPECT_EQ(after.item_num, stat.item_num);
    EXPECT_EQ(after.level, stat.level);
    for (int step = 0; step < 600 && !testing::Test::HasFailure(); step++) {
      life.step();
      life.compare_some(1);
    }

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
  }
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
