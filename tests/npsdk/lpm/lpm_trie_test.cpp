#include "dpp_lpm/lpm_trie.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <vector>

#include "../../printed.h"
#include "../../random_steps.h"
#include "dpp_lpm/lpm_algo.h"
#include "lpm_reference.h"
#include "qlix_comm/memory.h"

namespace {

using lpm_reference::prefix;
using lpm_reference::recount;

/// An instance whose placement has nothing to do: what is tested is the trie and the level.
struct bare_lpm {
  chw_lpm lpm;
  explicit bare_lpm(uint32_t key_bytes, uint32_t flags = 0) {
    const chw_lpm_callbacks none = {};
    EXPECT_EQ(chw_lpm_init(&lpm, key_bytes, 0, 20, &none, flags, 0), 0u);
  }
  ~bare_lpm() {
    chw_lpm_destroy(&lpm);
  }
  uint32_t insert(const prefix& route, lpm_trie_node** node = nullptr) {
    lpm_trie_node* unused = nullptr;
    return chw_lpm_trie_insert(&lpm.trie, route.key.data(), route.len, node != nullptr ? node : &unused);
  }
  uint32_t remove(const prefix& route) {
    lpm_released released;
    const uint32_t code = chw_lpm_trie_delete(&lpm.trie, route.key.data(), route.len, &released);
    chw_lpm_trie_free_tn(&lpm.trie, released);
    return code;
  }
};

TEST(LpmLevel, BalanceOfUnevenAndLonelyNodes) {
  const struct {
    uint32_t node_cnt, node_len, parent_cnt, sibling_cnt, sibling_len;
    bool sibling;
    uint32_t value;
  } rows[] = {
      {5, 120, 10, 5, 100, true, 512},  // even
      {2, 48, 3, 1, 16, true, 682},     // the smaller part is not below the difference
      {9, 216, 10, 1, 16, true, 682},   // 16 of 24
      {1, 16, 10, 9, 216, true, 682},   // the same seen from the other side
      {4, 96, 5, 0, 0, false, 1024},    // the parent's own route makes up the rest
      {9, 216, 10, 0, 0, true, 1024},   // a sibling without routes, with its line
  };
  for (const auto& row : rows) {
    lpm_trie_node parent{}, node{}, sibling{};
    parent.sub_cnt = row.parent_cnt;
    parent.child[0] = &node;
    parent.child[1] = row.sibling ? &sibling : nullptr;
    node.parent = sibling.parent = &parent;
    node.sub_cnt = row.node_cnt;
    node.len_sum = row.node_len;
    sibling.sub_cnt = row.sibling_cnt;
    sibling.len_sum = row.sibling_len;
    EXPECT_EQ(
        printed([&] { EXPECT_EQ(BAL_VAL(&node, &parent), row.value) << row.node_cnt << " of " << row.parent_cnt; }),
        row.sibling && row.sibling_cnt == 0 ? "====>p_bro_tn->sub_cnt is ZERO!.\n" : "");
  }
}

TEST(LpmTrie, ABranchOf16BitsIsHandedOutAndNoRoute) {
  bare_lpm trie(4);
  for (const prefix& route : {prefix{{10}, 24}, {{10, 0, 128}, 24}, {{20}, 24}, {{20, 64}, 24}}) {
    EXPECT_EQ(trie.insert(route), 0u);  // they part at 16 bits, and at 9
  }
  const prefix branches[] = {{{20}, 9}, {{10}, 16}};
  lpm_trie_node* node = nullptr;
  for (const prefix& branch : branches) {
    EXPECT_EQ(node, nullptr);
    EXPECT_EQ(chw_lpm_trie_srh(&trie.lpm.trie, branch.key.data(), branch.len, LPM_SRH_EXACT, &node, false),
              LPM_RC_NOT_FOUND);
  }
  ASSERT_NE(node, nullptr);
  EXPECT_EQ(node->prefix_len, 16);
  EXPECT_EQ(chw_lpm_trie_srh(&trie.lpm.trie, branches[0].key.data(), 9, 3, &node, false), LPM_RC_INCONSISTENT);
}

TEST(LpmTrie, KeyAndPrefixLimits) {
  lpm_trie trie;
  EXPECT_EQ(chw_lpm_trie_init(&trie, 0), 0x1205u);
  EXPECT_EQ(chw_lpm_trie_init(&trie, 19), 0x1205u);
  bare_lpm lpm(4);
  EXPECT_EQ(lpm.insert({{}, 33}), 0x1205u);
  EXPECT_DEATH(chw_lpm_trie_srh(&lpm.lpm.trie, nullptr, 8, 1, nullptr, false), "");
}

// So that every case of the key check, nesting and clean-up occurs.
prefix random_route(std::mt19937& rng, uint32_t key_bytes) {
  return lpm_reference::random_prefix(rng, key_bytes, 8);
}

void random_life(uint32_t key_bytes, uint32_t flags, uint32_t steps, size_t routes_max, uint32_t seed) {
  SCOPED_TRACE(testing::Message() << "key bytes " << key_bytes << " flags " << flags);
  steps = random_steps(steps);
  std::mt19937 rng(seed);
  bare_lpm trie(key_bytes, flags);
  std::map<prefix, uint32_t> model;
  for (uint32_t step = 0; step < steps; step++) {
    const prefix route = random_route(rng, key_bytes);
    if (rng() % routes_max >= model.size()) {
      lpm_trie_node* node = nullptr;
      const bool known = model.contains(route);
      EXPECT_EQ(trie.insert(route, &node), known ? LPM_RC_EXISTS : 0u);
      EXPECT_TRUE(!known || node->result == model[route]);
      node->result = step;
      model[route] = step;
      EXPECT_EQ(trie.lpm.level, lpm_reference::level(trie.lpm, node));
    } else {
      const prefix victim = rng() % 4 == 0 ? route : std::next(model.begin(), rng() % model.size())->first;
      EXPECT_EQ(trie.remove(victim), model.erase(victim) != 0 ? 0u : LPM_RC_NOT_FOUND);
    }
    if (step % 61 == 0 || steps < 3000) {
      recount(trie.lpm.trie);
    }
    ASSERT_EQ(trie.lpm.trie.route_num, model.size());
    prefix address = random_route(rng, key_bytes);
    lpm_trie_node* found = nullptr;
    const auto search = [&](uint32_t mode) {
      return chw_lpm_trie_srh(&trie.lpm.trie, address.key.data(), address.len, mode, &found, false);
    };
    EXPECT_EQ(search(LPM_SRH_EXACT), model.contains(address) ? 0u : LPM_RC_NOT_FOUND);
    address.len = key_bytes * 8;
    const auto* expected = lpm_reference::longest(model, address);
    ASSERT_EQ(search(LPM_SRH_LONGEST), expected == nullptr ? LPM_RC_NOT_FOUND : 0u) << "step " << step;
    if (expected != nullptr) {
      ASSERT_EQ(found->result, expected->second) << "step " << step;
    }
    if (testing::Test::HasFailure()) {
      return;
    }
  }
  while (!model.empty()) {
    EXPECT_EQ(trie.remove(model.begin()->first), 0u);
    model.erase(model.begin());
  }
  EXPECT_EQ(trie.lpm.trie.root, nullptr);
  EXPECT_EQ(trie.lpm.trie.pool.slabs, nullptr);
}

TEST(LpmTrie, RandomLifeAgreesWithAMapOfPrefixes) {
  const caught_output notes;
  for (const uint32_t key_bytes : {1u, 2u, 4u, 9u, 16u, 18u}) {
    random_life(key_bytes, 0, 2500, 300, key_bytes);
    random_life(key_bytes, CHW_LPM_FLAG_OUT_MODE, 2500, 40, 100 + key_bytes);
  }
  // Enough routes that the short cuts are built, used while the trie changes, and dropped.
  random_life(4, 0, 10000, 6000, 7);
  random_life(16, 0, 10000, 6000, 8);
}

// What comes back is compared where route tables are stored.
TEST(LpmTrie, RecoveryRefusesWhatIsNoTrieOfItsOwn) {
  std::mt19937 rng(3);
  bare_lpm trie(16);
  for (uint32_t i = 0; i < 500; i++) {
    trie.insert(random_route(rng, 16));
  }
  size_t size = 0;
  uint8_t* blob = nullptr;
  ASSERT_EQ(chw_lpm_trie_store(&trie.lpm.trie, &size, &blob), 0u);
  const std::vector<uint8_t> saved(blob, blob + size);
  ic_comm_free_memory(blob);

  const caught_output refusals;
  bare_lpm empty(16), other(4);
  EXPECT_EQ(chw_lpm_trie_recovery(&trie.lpm.trie, saved.data(), saved.size()), 0x1205u);  // in use
  EXPECT_EQ(chw_lpm_trie_recovery(&other.lpm.trie, saved.data(), saved.size()), 0x1205u);
  for (size_t cut = 0; cut < saved.size(); cut += 5) {
    EXPECT_EQ(chw_lpm_trie_recovery(&empty.lpm.trie, saved.data(), cut), 0x1205u);
  }
  std::vector<uint8_t> twice = saved;  // the second route is the first again
  std::memcpy(twice.data() + 12 + 22, twice.data() + 12, 22);
  EXPECT_EQ(chw_lpm_trie_recovery(&empty.lpm.trie, twice.data(), twice.size()), 0x1205u);
  EXPECT_EQ(empty.lpm.trie.root, nullptr);
}

}  // namespace
