#include "dpp_lpm/lpm_trie.h"

#include <gtest/gtest.h>

#include <algorithm>
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

prefix ipv4(uint32_t address, uint32_t len) {
  prefix route;
  route.len = len;
  const uint32_t masked = len == 0 ? 0 : address & (0xFFFFFFFFu << (32 - len));
  for (size_t i = 0; i < 4; i++) {
    route.key[i] = static_cast<uint8_t>(masked >> (24 - 8 * i));
  }
  return route;
}

TEST(LpmKeyCheck, SevenCases) {
  const struct {
    uint32_t key, len, node_key, node_len;
    lpm_key_case expected;
    uint32_t split;
  } rows[] = {
      {0x0A000000, 24, 0x0A000000, 8, LPM_KEY_DESCEND_0, 0}, {0x0A800000, 24, 0x0A000000, 8, LPM_KEY_DESCEND_1, 0},
      {0x0A010000, 24, 0x0A000000, 24, LPM_KEY_SPLIT_0, 15}, {0x0A000000, 24, 0x0A010000, 24, LPM_KEY_SPLIT_1, 15},
      {0x0A000000, 8, 0x0A000000, 24, LPM_KEY_PARENT_0, 0},  {0x0A000000, 8, 0x0A800000, 24, LPM_KEY_PARENT_1, 0},
      {0x0A0000FF, 24, 0x0A000000, 24, LPM_KEY_SAME, 0},     {0, 0, 0x80000000, 1, LPM_KEY_PARENT_1, 0},
      {0x80000000, 32, 0, 0, LPM_KEY_DESCEND_1, 0},
  };
  for (const auto& row : rows) {
    uint8_t key[4], node_key[4];
    for (size_t i = 0; i < 4; i++) {
      key[i] = static_cast<uint8_t>(row.key >> (24 - 8 * i));
      node_key[i] = static_cast<uint8_t>(row.node_key >> (24 - 8 * i));
    }
    uint32_t split = 0;
    EXPECT_EQ(chw_lpm_trie_key_check(key, row.len, node_key, row.node_len, &split), row.expected)
        << std::hex << row.key << "/" << row.len;
    EXPECT_EQ(split, row.split);
  }
}

TEST(LpmLevel, FollowsTheFirstRoute) {
  const struct {
    uint32_t len, flags, level;
  } rows[] = {{24, 0, 28}, {24, CHW_LPM_FLAG_OUT_MODE, 24},
              {8, 0, 18},  {8, CHW_LPM_FLAG_OUT_MODE, 18},
              {13, 0, 18}, {14, 0, 18},
              {15, 0, 19}, {19, CHW_LPM_FLAG_OUT_MODE, 19}};
  for (const auto& row : rows) {
    bare_lpm one(4, row.flags);
    EXPECT_EQ(one.insert(ipv4(0x0A000000, row.len)), 0u);
    EXPECT_EQ(one.lpm.level, row.level) << row.len;
  }
}

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

TEST(LpmTrie, SecondInsertLeavesEveryCounter) {
  bare_lpm trie(4);
  for (const uint32_t len : {8u, 16u, 24u}) {
    EXPECT_EQ(trie.insert(ipv4(0x0A010100, len)), 0u);
  }
  lpm_trie_node *first = nullptr, *again = nullptr;
  EXPECT_EQ(chw_lpm_trie_srh(&trie.lpm.trie, ipv4(0x0A010100, 24).key.data(), 24, LPM_SRH_EXACT, &first, false), 0u);
  const std::vector<lpm_reference::node_state> before = lpm_reference::states(trie.lpm.trie);
  EXPECT_EQ(trie.insert(ipv4(0x0A010100, 24), &again), LPM_RC_EXISTS);
  EXPECT_EQ(again, first);
  EXPECT_EQ(lpm_reference::states(trie.lpm.trie), before);
}

TEST(LpmTrie, BranchPointsAreNoRoutesUntilInserted) {
  bare_lpm trie(4);
  EXPECT_EQ(trie.insert(ipv4(0x0A000000, 24)), 0u);
  EXPECT_EQ(trie.insert(ipv4(0x0A008000, 24)), 0u);  // they part at 16
  EXPECT_EQ(trie.insert(ipv4(0x14000000, 24)), 0u);
  EXPECT_EQ(trie.insert(ipv4(0x14400000, 24)), 0u);  // they part at 9
  const uint32_t nodes = trie.lpm.trie.list.count;
  lpm_trie_node* node = nullptr;
  EXPECT_EQ(chw_lpm_trie_srh(&trie.lpm.trie, ipv4(0x14000000, 9).key.data(), 9, LPM_SRH_EXACT, &node, false),
            LPM_RC_NOT_FOUND);
  EXPECT_EQ(node, nullptr);
  EXPECT_EQ(chw_lpm_trie_srh(&trie.lpm.trie, ipv4(0x0A000000, 16).key.data(), 16, LPM_SRH_EXACT, &node, true),
            LPM_RC_NOT_FOUND);
  ASSERT_NE(node, nullptr);  // a branch of 16 bits is handed out all the same
  EXPECT_EQ(node->prefix_len, 16);
  recount(trie.lpm.trie);
  EXPECT_EQ(trie.insert(ipv4(0x0A000000, 16)), 0u);
  EXPECT_EQ(trie.lpm.trie.list.count, nodes);
  EXPECT_EQ(chw_lpm_trie_srh(&trie.lpm.trie, ipv4(0x0A000000, 16).key.data(), 16, 3, &node, false),
            LPM_RC_INCONSISTENT);
}

TEST(LpmTrie, KeyAndPrefixLimits) {
  lpm_trie trie;
  EXPECT_EQ(chw_lpm_trie_init(&trie, 0), 0x1205u);
  EXPECT_EQ(chw_lpm_trie_init(&trie, 19), 0x1205u);
  bare_lpm lpm(4);
  EXPECT_EQ(lpm.insert({{}, 33}), 0x1205u);
  EXPECT_DEATH(chw_lpm_trie_srh(&lpm.lpm.trie, nullptr, 8, 1, nullptr, false), "");
}

// Random routes crowded under a few stems, so that every case of the key check, nesting and clean-up occurs.
prefix random_route(std::mt19937& rng, uint32_t key_bytes) {
  prefix route;
  route.len = static_cast<uint32_t>(rng() % (key_bytes * 8 + 1));
  for (uint32_t bit = 0; bit < route.len; bit++) {
    if (rng() % 8 == 0) {
      route.key[bit / 8] = static_cast<uint8_t>(route.key[bit / 8] | 0x80 >> bit % 8);
    }
  }
  return route;
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
      EXPECT_EQ(trie.insert(route, &node), model.contains(route) ? LPM_RC_EXISTS : 0u);
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
    address.len = key_bytes * 8;
    lpm_trie_node* found = nullptr;
    const uint32_t code =
        chw_lpm_trie_srh(&trie.lpm.trie, address.key.data(), address.len, LPM_SRH_LONGEST, &found, false);
    const auto* expected = lpm_reference::longest(model, address);
    ASSERT_EQ(code, expected == nullptr ? LPM_RC_NOT_FOUND : 0u) << "step " << step;
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
  testing::internal::CaptureStdout();
  for (const uint32_t key_bytes : {1u, 2u, 4u, 9u, 16u, 18u}) {
    random_life(key_bytes, 0, 2500, 300, key_bytes);
    random_life(key_bytes, CHW_LPM_FLAG_OUT_MODE, 2500, 40, 100 + key_bytes);
  }
  testing::internal::GetCapturedStdout();
}

// Enough routes that the short cuts are built, used while the trie changes, and dropped.
TEST(LpmTrie, RandomLifeOfALargeTrie) {
  testing::internal::CaptureStdout();
  random_life(4, 0, 10000, 6000, 7);
  random_life(16, 0, 10000, 6000, 8);
  testing::internal::GetCapturedStdout();
}

TEST(LpmTrie, StoreAndRecovery) {
  std::mt19937 rng(3);
  bare_lpm trie(16);
  for (uint32_t i = 0; i < 500; i++) {
    lpm_trie_node* node = nullptr;
    trie.insert(random_route(rng, 16), &node);
    node->result = i;
  }
  size_t size = 0;
  uint8_t* blob = nullptr;
  ASSERT_EQ(chw_lpm_trie_store(&trie.lpm.trie, &size, &blob), 0u);
  const std::vector<uint8_t> saved(blob, blob + size);
  ic_comm_free_memory(blob);

  bare_lpm copy(16);
  EXPECT_EQ(chw_lpm_trie_recovery(&copy.lpm.trie, saved.data(), saved.size()), 0u);
  EXPECT_EQ(lpm_reference::states(copy.lpm.trie), lpm_reference::states(trie.lpm.trie));
  recount(copy.lpm.trie);

  testing::internal::CaptureStdout();
  bare_lpm empty(16), other(4);
  EXPECT_EQ(chw_lpm_trie_recovery(&copy.lpm.trie, saved.data(), saved.size()), 0x1205u);  // in use
  EXPECT_EQ(chw_lpm_trie_recovery(&other.lpm.trie, saved.data(), saved.size()), 0x1205u);
  for (size_t cut = 0; cut < saved.size(); cut += 5) {
    EXPECT_EQ(chw_lpm_trie_recovery(&empty.lpm.trie, saved.data(), cut), 0x1205u);
  }
  std::vector<uint8_t> twice = saved;  // the second route is the first again
  std::memcpy(twice.data() + 12 + 22, twice.data() + 12, 22);
  EXPECT_EQ(chw_lpm_trie_recovery(&empty.lpm.trie, twice.data(), twice.size()), 0x1205u);
  EXPECT_EQ(empty.lpm.trie.root, nullptr);
  testing::internal::GetCapturedStdout();
}

}  // namespace
