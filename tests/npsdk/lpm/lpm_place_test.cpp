// Which places a route is offered, and in which order. Items that give way along a path, that they are found where they
// are then, and that refused writes are undone, is for the tests of the route tables, which look at what stands
// afterwards.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dpp_lpm/lpm_algo.h"

namespace {

using calls = std::vector<std::string>;

// Callbacks that write down what they are asked. An item is any non-null pointer.
struct script {
  calls asked;
  std::string fail;  // the call that fails with 0x777
  uint32_t compare = 0;
};
script* now = nullptr;

std::string name(const lpm_trie_node* node) {
  return std::to_string(node->key[0]) + "." + std::to_string(node->key[1]) + "/" + std::to_string(node->prefix_len);
}

uint32_t record(const std::string& call) {
  now->asked.push_back(call);
  return call == now->fail ? 0x777 : 0;
}

const chw_lpm_callbacks SCRIPTED = {
    .cb_place =
        [](chw_lpm*, lpm_trie_node* at, lpm_trie_node* node, uint32_t) {
          at->item_info = at;
          return record("place " + name(at) + " " + name(node));
        },
    .cb_take_over = [](chw_lpm*, lpm_trie_node* examined,
                       lpm_trie_node* node) { return record("take " + name(examined) + " " + name(node)); },
    .cb_save_rst = [](chw_lpm*, lpm_trie_node* node, const lpm_route*) { return record("save " + name(node)); },
    .cb_undo_place = [](chw_lpm*, lpm_trie_node* node) { return record("undo " + name(node)); },
    .cb_compare = [](chw_lpm*, void*, const lpm_trie_node*) { return now->compare; },
    .cb_flush = [](chw_lpm*) { return record("flush"); },
    .cb_squee_up = [](chw_lpm*) { return record("squeeze"); },
};

class LpmPlace : public testing::Test {
 protected:
  LpmPlace() {
    now = &plan;
  }
  ~LpmPlace() override {
    EXPECT_EQ(lpm.swap_list.count, 0u);
    chw_lpm_destroy(&lpm);
  }
  void init(uint32_t flags) {
    ASSERT_EQ(chw_lpm_init(&lpm, 4, 0, 20, &SCRIPTED, flags, 5), 0u);
  }
  /// What is asked for a new route, which is refused when a call fails.
  calls insert(const lpm_route& one) {
    plan.asked.clear();
    EXPECT_EQ(chw_lpm_insert_entry(&lpm, &one), plan.fail.empty() ? 0u : 0x777u);
    return plan.asked;
  }

  script plan;
  chw_lpm lpm{};
};

TEST_F(LpmPlace, LongRoutesGatherBeyondTheLevel) {
  init(0);
  // Level 18: an item of its own.
  EXPECT_EQ(insert({{10}, 8, 0}), (calls{"save 10.0/8", "place 10.0/8 10.0/8", "flush"}));
  // The item on the way is not for it.
  EXPECT_EQ(insert({{10, 1}, 16, 0}), (calls{"save 10.1/16", "place 10.1/16 10.1/16", "flush"}));
  plan.compare = CHW_LPM_MAY_TAKE;
  EXPECT_EQ(insert({{10, 128}, 16, 0}), (calls{"save 10.128/16", "take 10.0/8 10.128/16", "flush"}));
  plan.compare = 1;
  insert({{11, 1}, 32, 0});
  // Between the root and the item of /32: lies beyond the level itself.
  EXPECT_EQ(insert({{11, 1}, 30, 0}), (calls{"save 11.1/30", "place 11.1/30 11.1/30", "flush"}));
}

// Where the node above a new route is exactly as long as the level.
TEST_F(LpmPlace, WhatIsAsLongAsTheLevelIsNotBeyondIt) {
  for (const uint32_t flags : {0u, CHW_LPM_FLAG_OUT_MODE}) {
    init(flags);
    insert({{}, 0, 0});
    insert({{10}, 18, 0});
    for (auto* link = lpm.trie.list.first; link != nullptr; link = link->next) {
      static_cast<lpm_trie_node*>(link->data)->item_info = nullptr;
    }
    EXPECT_EQ(insert({{10}, 24, 0}).at(1), "place 10.0/24 10.0/24") << flags;
    EXPECT_EQ(lpm.level, 18u);
    chw_lpm_destroy(&lpm);
  }
}

TEST_F(LpmPlace, OutModeTakesTheFirstItemAboveOrPlacesBeyondTheLevel) {
  init(CHW_LPM_FLAG_OUT_MODE);
  // No node beyond the level: its own item.
  EXPECT_EQ(insert({{10}, 8, 0}), (calls{"save 10.0/8", "place 10.0/8 10.0/8", "squeeze", "flush"}));
  EXPECT_EQ(insert({{10, 1}, 24, 0}), (calls{"save 10.1/24", "take 10.0/8 10.1/24", "flush"}));
  EXPECT_EQ(insert({{20, 1}, 32, 0}), (calls{"save 20.1/32", "place 20.1/32 20.1/32", "squeeze", "flush"}));
  // A branch point beyond the level gets the item of a route below it, once nothing above holds one.
  static_cast<lpm_trie_node*>(lpm.trie.list.last->data)->item_info = nullptr;
  plan.fail = "take 20.1/31 20.1/32";
  EXPECT_EQ(insert({{20, 1, 0, 1}, 32, 0}),
            (calls{"save 20.1/32", "place 20.1/31 20.1/31", "take 20.1/31 20.1/32", "undo 20.1/31"}));
  plan.fail.clear();
  EXPECT_EQ(insert({{20, 1, 0, 1}, 32, 0}),
            (calls{"save 20.1/32", "place 20.1/31 20.1/31", "take 20.1/31 20.1/32", "squeeze", "flush"}));
  // The branch point becomes a route and holds an item already.
  EXPECT_EQ(insert({{20, 1}, 31, 0}), (calls{"save 20.1/31", "take 20.1/31 20.1/31", "flush"}));
  plan.fail = "squeeze";
  EXPECT_DEATH(insert({{30}, 24, 0}), "");
}

}  // namespace
