#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "dpp_lpm/lpm_algo.h"
#include "lpm_reference.h"

namespace {

// Callbacks that write down what they are asked, with answers scripted by the test. An item is any non-null pointer.
struct script {
  std::vector<std::string> calls;
  std::string fail;                      // the call that fails with 0x777
  std::vector<lpm_trie_node*> swap_out;  // answers of cb_get_swap_out, in order
  uint32_t compare = 0;
};
script* now = nullptr;

std::string name(const lpm_trie_node* node) {
  return std::to_string(node->key[0]) + "." + std::to_string(node->key[1]) + "/" + std::to_string(node->prefix_len);
}

uint32_t record(const std::string& call) {
  now->calls.push_back(call);
  return call == now->fail ? 0x777 : 0;
}

void* new_item() {
  static char items[64];
  static size_t next = 0;
  return &items[next++ % sizeof(items)];
}

const chw_lpm_callbacks SCRIPTED = {
    [](chw_lpm*, lpm_trie_node* at, lpm_trie_node* node, uint32_t) {
      const uint32_t code = record("place " + name(at) + " " + name(node));
      if (code == 0) {
        at->item_info = new_item();
      }
      return code;
    },
    [](chw_lpm*, lpm_trie_node* examined, lpm_trie_node* node) {
      return record("take " + name(examined) + " " + name(node));
    },
    [](chw_lpm*, lpm_trie_node* node, const lpm_route*) { return record("update " + name(node)); },
    [](chw_lpm*, lpm_trie_node* from, lpm_trie_node* to) { return record("copy " + name(from) + " " + name(to)); },
    [](chw_lpm*, lpm_trie_node* node, const lpm_route* route) {
      node->result = route->result;
      return record("save " + name(node));
    },
    [](chw_lpm*, lpm_trie_node* node) {
      node->item_info = nullptr;
      return record("undo " + name(node));
    },
    [](chw_lpm*, void*, const lpm_trie_node*) { return now->compare; },
    [](chw_lpm*, const lpm_trie_node* node) { return node->result; },
    [](chw_lpm*, lpm_trie_node* node) { return record("check " + name(node)); },
    [](chw_lpm*, lpm_trie_node* node, lpm_trie_node** out, uint32_t reserved) {
      EXPECT_EQ(reserved, 0u);
      *out = now->swap_out.at(static_cast<size_t>(std::count_if(
          now->calls.begin(), now->calls.end(), [](const auto& call) { return call[0] == 's' && call[1] == 'w'; })));
      return record("swapout " + name(node));
    },
    [](chw_lpm*, lpm_trie_node* node) { return record("free " + name(node)); },
    [](chw_lpm*) { return record("flush"); },
    [](chw_lpm*) { return record("squeeze"); },
};

class LpmPlace : public testing::Test {
 protected:
  void SetUp() override {
    now = &plan;
  }
  void TearDown() override {
    EXPECT_EQ(lpm.swap_list.count, 0u);
    chw_lpm_destroy(&lpm);
  }
  void init(uint32_t flags) {
    ASSERT_EQ(chw_lpm_init(&lpm, 4, 0, 20, &SCRIPTED, flags, 5), 0u);
  }
  static lpm_route route(uint8_t a, uint8_t b, uint16_t len, uint32_t result = 0) {
    return {{a, b}, len, result};
  }
  uint32_t insert(const lpm_route& one) {
    plan.calls.clear();
    return chw_lpm_insert_entry(&lpm, &one);
  }
  /// The node of a prefix, route or branch.
  lpm_trie_node* node(uint8_t a, uint8_t b, uint32_t len) {
    for (auto* link = lpm.trie.list.first; link != nullptr; link = link->next) {
      auto* at = static_cast<lpm_trie_node*>(link->data);
      if (at->key[0] == a && at->key[1] == b && at->prefix_len == len) {
        return at;
      }
    }
    return nullptr;
  }
  using calls = std::vector<std::string>;

  script plan;
  chw_lpm lpm{};
};

TEST_F(LpmPlace, LongRoutesGatherBeyondTheLevel) {
  init(0);
  EXPECT_EQ(insert(route(10, 0, 8)), 0u);  // level 18: an item of its own
  EXPECT_EQ(plan.calls, (calls{"save 10.0/8", "place 10.0/8 10.0/8", "flush"}));
  EXPECT_EQ(insert(route(10, 1, 16)), 0u);  // the item on the way is not for it
  EXPECT_EQ(plan.calls, (calls{"save 10.1/16", "place 10.1/16 10.1/16", "flush"}));
  plan.compare = CHW_LPM_MAY_TAKE;
  EXPECT_EQ(insert(route(10, 128, 16)), 0u);
  EXPECT_EQ(plan.calls, (calls{"save 10.128/16", "take 10.0/8 10.128/16", "flush"}));
  plan.compare = 1;
  EXPECT_EQ(insert(route(11, 1, 32)), 0u);
  EXPECT_EQ(insert(route(11, 1, 30)), 0u);  // between the root and the item of /32: lies beyond the level itself
  EXPECT_EQ(plan.calls, (calls{"save 11.1/30", "place 11.1/30 11.1/30", "flush"}));
}

TEST_F(LpmPlace, SecondInsertUpdatesAndSearchReturnsTheResult) {
  init(0);
  EXPECT_EQ(insert(route(10, 0, 8, 7)), 0u);
  EXPECT_EQ(insert(route(10, 0, 8, 9)), 0u);
  EXPECT_EQ(plan.calls, (calls{"update 10.0/8"}));
  plan.fail = "update 10.0/8";
  EXPECT_EQ(insert(route(10, 0, 8, 9)), 0x777u);
  lpm_route address = route(10, 200, 32);
  EXPECT_EQ(chw_lpm_srh_entry(&lpm, &address, LPM_SRH_LONGEST), 0u);
  EXPECT_EQ(address.result, 7u);
  EXPECT_EQ(chw_lpm_srh_entry(&lpm, &address, LPM_SRH_EXACT), LPM_RC_NOT_FOUND);
  EXPECT_EQ(chw_lpm_srh_entry(&lpm, &address, 0), LPM_RC_INCONSISTENT);
}

TEST_F(LpmPlace, DeleteAsksInOrderAndCleansUp) {
  init(0);
  EXPECT_EQ(insert(route(10, 0, 16)), 0u);
  EXPECT_EQ(insert(route(10, 1, 16)), 0u);
  EXPECT_EQ(lpm.trie.list.count, 3u);
  plan.calls.clear();
  const lpm_route gone = route(10, 0, 16);
  EXPECT_EQ(chw_lpm_delete_entry(&lpm, &gone), 0u);
  EXPECT_EQ(plan.calls, (calls{"free 10.0/16", "check 10.0/16", "flush"}));
  EXPECT_EQ(lpm.trie.list.count, 1u);
  EXPECT_EQ(chw_lpm_delete_entry(&lpm, &gone), LPM_RC_NOT_FOUND);
}

// Three routes hold items on one path below a new one; each gives its place to the node above it.
class LpmSwap : public LpmPlace {
 protected:
  void SetUp() override {
    LpmPlace::SetUp();
    init(0);
    // All beyond the level, and the same stem, so that every node lies on one path.
    for (const uint16_t len : {uint16_t{8}, uint16_t{10}, uint16_t{12}, uint16_t{14}}) {
      ASSERT_EQ(insert(route(10, 0, len)), 0u);
    }
    // Two routes that part at 9 bits leave a branch there: the item of the first route is held at it.
    ASSERT_EQ(insert(route(10, 64, 10)), 0u);
    branch = node(10, 0, 9);
    ASSERT_NE(branch, nullptr);
    branch->item_info = node(10, 0, 10)->item_info;
    plan.swap_out = {node(10, 0, 10), node(10, 0, 12), node(10, 0, 14)};
    // The last one finds a place: nothing is held there.
    node(10, 0, 14)->item_info = nullptr;
    before = lpm_reference::states(lpm.trie);
    for (auto* link = lpm.trie.list.first; link != nullptr; link = link->next) {
      items.push_back(static_cast<lpm_trie_node*>(link->data)->item_info);
    }
  }
  void expect_unchanged(uint32_t level) {
    EXPECT_EQ(lpm_reference::states(lpm.trie), before);
    size_t at = 0;
    for (auto* link = lpm.trie.list.first; link != nullptr; link = link->next, at++) {
      EXPECT_EQ(static_cast<lpm_trie_node*>(link->data)->item_info, items.at(at)) << at;
    }
    EXPECT_EQ(lpm.level, level);
    EXPECT_EQ(lpm.swap_list.count, 0u);
    lpm_reference::recount(lpm.trie);
  }
  lpm_trie_node* branch = nullptr;
  std::vector<lpm_reference::node_state> before;
  std::vector<void*> items;
};

TEST_F(LpmSwap, MovesAChainOfItems) {
  EXPECT_EQ(insert(route(10, 0, 9)), 0u);
  EXPECT_EQ(plan.calls,
            (calls{"save 10.0/9", "swapout 10.0/9", "copy 10.0/10 10.0/9", "swapout 10.0/10", "copy 10.0/12 10.0/10",
                   "swapout 10.0/12", "copy 10.0/14 10.0/12", "place 10.0/14 10.0/14", "flush"}));
}

TEST_F(LpmSwap, EveryFailureRollsBack) {
  const struct {
    const char* fail;
    calls undone;
  } rows[] = {
      {"swapout 10.0/9", {}},
      {"copy 10.0/10 10.0/9", {}},
      {"swapout 10.0/10", {"copy 10.0/9 10.0/10"}},
      {"copy 10.0/12 10.0/10", {"copy 10.0/9 10.0/10"}},
      {"copy 10.0/14 10.0/12", {"copy 10.0/10 10.0/12", "copy 10.0/9 10.0/10"}},
      {"place 10.0/14 10.0/14", {"copy 10.0/12 10.0/14", "copy 10.0/10 10.0/12", "copy 10.0/9 10.0/10"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.fail);
    const uint32_t level = lpm.level;
    plan.fail = row.fail;
    testing::internal::CaptureStdout();
    EXPECT_EQ(insert(route(10, 0, 9)), 0x777u);
    const std::string lines = testing::internal::GetCapturedStdout();
    EXPECT_EQ(lines.find("Call fun_swap_cpy Fail!") != std::string::npos, std::strncmp(row.fail, "copy", 4) == 0);
    const auto failed = std::find(plan.calls.begin(), plan.calls.end(), row.fail);
    EXPECT_EQ(calls(failed + 1, plan.calls.end()), row.undone);
    expect_unchanged(level);
  }
}

class LpmOutMode : public LpmPlace {
 protected:
  void SetUp() override {
    LpmPlace::SetUp();
    init(CHW_LPM_FLAG_OUT_MODE);
  }
};

TEST_F(LpmOutMode, TakesTheFirstItemAboveOrPlacesBeyondTheLevel) {
  EXPECT_EQ(insert(route(10, 0, 8)), 0u);  // no node beyond the level: its own item
  EXPECT_EQ(plan.calls, (calls{"save 10.0/8", "place 10.0/8 10.0/8", "squeeze", "flush"}));
  EXPECT_EQ(insert(route(10, 1, 24)), 0u);
  EXPECT_EQ(plan.calls, (calls{"save 10.1/24", "take 10.0/8 10.1/24", "flush"}));
  EXPECT_EQ(insert(route(20, 1, 32)), 0u);
  EXPECT_EQ(plan.calls, (calls{"save 20.1/32", "place 20.1/32 20.1/32", "squeeze", "flush"}));
  // A branch point beyond the level gets the item of a route below it, once nothing above holds one.
  node(20, 1, 32)->item_info = nullptr;
  lpm_route sibling = route(20, 1, 32);
  sibling.key[3] = 1;
  EXPECT_EQ(insert(sibling), 0u);
  EXPECT_EQ(plan.calls, (calls{"save 20.1/32", "place 20.1/31 20.1/31", "take 20.1/31 20.1/32", "squeeze", "flush"}));
  EXPECT_EQ(insert(route(20, 1, 31)), 0u);  // the branch point becomes a route and holds an item already
  EXPECT_EQ(plan.calls, (calls{"save 20.1/31", "take 20.1/31 20.1/31", "flush"}));
}

TEST_F(LpmOutMode, FailuresLeaveNothingBehind) {
  lpm_route first = route(20, 1, 32), second = first;
  second.key[3] = 1;
  for (const uint8_t stem : std::initializer_list<uint8_t>{50, 60, 70, 80}) {  // short routes keep the level below 31
    ASSERT_EQ(insert(route(stem, 0, 8)), 0u);
  }
  for (const char* fail : {"place 20.1/32 20.1/32", "place 20.1/31 20.1/31", "take 20.1/31 20.1/32"}) {
    SCOPED_TRACE(fail);
    const std::vector<lpm_reference::node_state> before = lpm_reference::states(lpm.trie);
    const uint32_t level = lpm.level;
    plan.fail = fail;
    testing::internal::CaptureStdout();
    const bool with_first = node(20, 1, 32) != nullptr;
    EXPECT_EQ(insert(with_first ? second : first), 0x777u);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("\n Error[0x777] in chw_lpm_insert_item"), std::string::npos);
    EXPECT_EQ(plan.calls.back(), fail[0] == 't' ? "undo 20.1/31" : fail);
    EXPECT_EQ(lpm_reference::states(lpm.trie), before);
    EXPECT_EQ(lpm.level, level);
    plan.fail.clear();
    if (!with_first) {
      ASSERT_EQ(insert(first), 0u);
      node(20, 1, 32)->item_info = nullptr;
    }
  }
  plan.fail = "squeeze";
  EXPECT_DEATH(insert(route(30, 0, 24)), "");
}

}  // namespace
