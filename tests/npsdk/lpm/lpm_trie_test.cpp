// What the lives of route tables, which are compared with models of table, trie and level, do not show.
#include "dpp_lpm/lpm_trie.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "../../printed.h"
#include "dpp_lpm/lpm_algo.h"
#include "lpm_reference.h"
#include "qlix_comm/memory.h"

namespace {

using lpm_reference::prefix;

/// An instance whose placement has nothing to do: what is tested is the trie and the level.
struct bare_lpm {
  chw_lpm lpm;
  explicit bare_lpm(uint32_t key_bytes) {
    const chw_lpm_callbacks none = {};
    EXPECT_EQ(chw_lpm_init(&lpm, key_bytes, 0, 20, &none, 0, 0), 0u);
  }
  ~bare_lpm() {
    chw_lpm_destroy(&lpm);
  }
  uint32_t insert(const prefix& route) {
    lpm_trie_node* unused = nullptr;
    return chw_lpm_trie_insert(&lpm.trie, route.key.data(), route.len, &unused);
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

// What comes back is compared where route tables are stored.
TEST(LpmTrie, RecoveryRefusesWhatIsNoTrieOfItsOwn) {
  std::mt19937 rng(3);
  bare_lpm trie(16);
  for (uint32_t i = 0; i < 500; i++) {
    trie.insert(lpm_reference::random_prefix(rng, 16, 8));
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
  std::vector<uint8_t> loose = saved;  // a route shorter than its key has a bit beyond its length
  uint8_t* record = loose.data() + 12;
  while (record[4] == 128) {
    record += 22;
  }
  record[22 - 1] |= 1;
  EXPECT_EQ(chw_lpm_trie_recovery(&empty.lpm.trie, loose.data(), loose.size()), 0x1205u);
  EXPECT_EQ(empty.lpm.trie.root, nullptr);
}

}  // namespace
