// The two trees behind one face, with a check of everything that must hold in them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "../quiet.h"
#include "qlix_comm/avl.h"
#include "qlix_comm/rb.h"

using Key = std::string;  // bytes

inline std::int32_t reversed_cmp(const void* a, const void* b, std::uint32_t size) {
  return memcmp(b, a, size);
}

struct AvlTraits {
  using Tree = qlix_comm_avl;
  using Node = qlix_comm_avl_node;
  static constexpr std::uint32_t EXISTS = 0x1904;
  static constexpr std::uint32_t FULL = 0x1905;
  static constexpr std::uint32_t ABSENT = 0;
  static constexpr std::uint32_t EMPTY = 0x1903;
  static constexpr std::uint32_t NO_SLOT = 0x1901;  // what an operation without a slot writes

  static constexpr auto init = qlix_comm_avl_init;
  static constexpr auto destroy = qlix_comm_avl_destroy;
  static constexpr auto next = qlix_comm_avl_next;
  static constexpr auto is_none = ic_comm_avl_is_none;
  static constexpr auto first_key = ic_comm_avl_get_1st_key;
  static constexpr auto last_key = ic_comm_avl_get_last_key;
  static constexpr auto first_node = ic_comm_avl_get_1st_node;
  static constexpr auto last_node = ic_comm_avl_get_last_node;
  static constexpr auto insert = qlix_comm_avl_insert;
  static constexpr auto remove = qlix_comm_avl_remove;
  static constexpr auto find = qlix_comm_avl_find;
  /// A caller's node. When it finds its key taken 0 is written; else nothing is.
  static std::uint32_t link(Tree* tree, Node* node) {
    std::uint32_t written = 77;
    const std::uint32_t code = insert(tree, node, &written);
    EXPECT_EQ(written, code == EXISTS ? 0u : 77u);
    return code;
  }

  /// Height of the subtree; every node's stored height and balance are checked on the way.
  static std::int32_t shape_check(const Tree*, const Node* node) {
    if (node == nullptr) {
      return 0;
    }
    const std::int32_t left = shape_check(nullptr, node->left);
    const std::int32_t right = shape_check(nullptr, node->right);
    EXPECT_LE(std::abs(left - right), 1);
    EXPECT_EQ(node->height, std::max(left, right) + 1);
    return node->height;
  }
};

struct RbTraits {
  using Tree = qlix_comm_rb;
  using Node = qlix_comm_rb_node;
  static constexpr std::uint32_t EXISTS = 0x1001;
  static constexpr std::uint32_t FULL = 0x1003;
  static constexpr std::uint32_t ABSENT = 0x1002;
  static constexpr std::uint32_t EMPTY = 0x1004;
  static constexpr std::uint32_t NO_SLOT = 0xDEAD;  // nothing is written

  static constexpr auto init = qlix_comm_rb_init;
  static constexpr auto destroy = qlix_comm_rb_destroy;
  static constexpr auto next = qlix_comm_rb_next;
  static constexpr auto is_none = qlix_comm_rb_is_none;
  static constexpr auto first_key = qlix_comm_rb_get_1st_key;
  static constexpr auto last_key = qlix_comm_rb_get_last_key;
  static constexpr auto first_node = qlix_comm_rb_get_1st_tn;
  static constexpr auto last_node = qlix_comm_rb_get_last_tn;
  static constexpr auto insert = qlix_comm_rb_insert;
  static constexpr auto remove = qlix_comm_rb_delete;
  static constexpr auto find = qlix_comm_rb_search;
  /// A caller's node. It is written unless another has its key.
  static std::uint32_t link(Tree* tree, Node* node) {
    Node* written = nullptr;
    const std::uint32_t code = insert(tree, node, &written);
    EXPECT_EQ(written == node, code == 0);
    return code;
  }

  /// Black nodes on every path of the subtree; colours and parents are checked on the way.
  static std::int32_t shape_check(const Tree* tree, const Node* node) {
    if (node == nullptr) {
      return 0;
    }
    const std::uint32_t colour = node->slot_colour & 3;
    EXPECT_TRUE(colour == QLIX_COMM_RB_RED || colour == QLIX_COMM_RB_BLACK);
    if (node == tree->root) {
      EXPECT_EQ(node->parent, nullptr);
      EXPECT_EQ(colour, QLIX_COMM_RB_BLACK);
    }
    for (const Node* child : {node->left, node->right}) {
      if (child != nullptr) {
        EXPECT_EQ(child->parent, node);
        EXPECT_FALSE(colour == QLIX_COMM_RB_RED && (child->slot_colour & 3) == QLIX_COMM_RB_RED);
      }
    }
    const std::int32_t left = shape_check(tree, node->left);
    EXPECT_EQ(left, shape_check(tree, node->right));
    return left + (colour == QLIX_COMM_RB_BLACK ? 1 : 0);
  }
};

/// A tree with its model: keys in order with the slot or record that holds them, and the stack of free slots.
template <class Traits>
class ModelledTree {
 public:
  using Node = typename Traits::Node;
  struct Record {
    Node node;
    Key key;
  };

  ModelledTree(std::uint32_t max, std::uint32_t size, bool reversed) : max_(max), size_(size), model_(Order{reversed}) {
    EXPECT_EQ(Traits::init(&tree_, max, size, reversed ? reversed_cmp : nullptr), 0u);
    for (std::uint32_t slot = max; slot-- > 0;) {
      free_.push_back(slot);
    }
  }
  ~ModelledTree() {
    EXPECT_EQ(Traits::destroy(&tree_), 0u);
    const typename Traits::Tree cleared{};
    EXPECT_EQ(memcmp(&tree_, &cleared, sizeof cleared), 0);
  }
  ModelledTree(const ModelledTree&) = delete;
  ModelledTree& operator=(const ModelledTree&) = delete;

  void insert(const Key& key) {
    auto record = std::make_unique<Record>();
    record->key = key;
    memset(static_cast<void*>(&record->node), 0xA5, sizeof record->node);
    record->node.key = record->key.data();
    std::uint32_t slot = 0xDEAD;
    const std::uint32_t code =
        max_ == 0 ? Traits::link(&tree_, &record->node) : Traits::insert(&tree_, record->key.data(), &slot);
    const auto found = model_.find(key);
    if (found != model_.end()) {
      EXPECT_EQ(code, Traits::EXISTS);
      EXPECT_TRUE(max_ == 0 || slot == found->second.slot);
    } else if (max_ != 0 && free_.empty()) {
      EXPECT_EQ(code, Traits::FULL);
      EXPECT_EQ(slot, Traits::NO_SLOT);
    } else {
      ASSERT_EQ(code, 0u);
      if (max_ != 0) {
        EXPECT_EQ(slot, free_.back());
        free_.pop_back();
      }
      model_[key] = {slot, std::move(record)};
    }
  }

  void remove(const Key& key) {
    if (!answers(Traits::remove, key)) {
      return;
    }
    if (max_ != 0) {
      const std::uint32_t slot = model_[key].slot;
      EXPECT_EQ(Key(reinterpret_cast<const char*>(tree_.key_pool) + slot * size_, size_), Key(size_, '\0'));
      free_.push_back(slot);
    }
    model_.erase(key);
  }

  void find(const Key& key) {
    const bool known = answers(Traits::find, key);
    if constexpr (std::is_same_v<Traits, AvlTraits>) {
      std::uint32_t num = 0;
      EXPECT_EQ(ic_comm_avl_get_node_num(&tree_, &num), 0u);
      EXPECT_EQ(num, model_.size());
      const Node* const node = qlix_comm_avl_node_find(&tree_, key.data());
      ASSERT_EQ(node != nullptr, known);
      EXPECT_TRUE(!known || max_ == 0 || qlix_comm_avl_node_slot(&tree_, node) == model_[key].slot);
    }
  }

  /// Everything that must hold: shape, counts, and the order list, which carries the model's keys and slots.
  void check() const {
    Traits::shape_check(&tree_, tree_.root);
    ends_check();
    ASSERT_EQ(tree_.order.count, model_.size());
    std::vector<const Node*> in_order;
    collect(tree_.root, in_order);
    ASSERT_EQ(in_order.size(), model_.size());
    const qlix_comm_double_link_node* prev = nullptr;
    const qlix_comm_double_link_node* link = tree_.order.first;
    auto expected = model_.begin();
    for (const Node* node : in_order) {
      ASSERT_EQ(link, &node->order);
      ASSERT_EQ(link->data, node);
      ASSERT_EQ(link->prev, prev);
      ASSERT_EQ(Key(static_cast<const char*>(node->key), size_), expected->first);
      if (max_ != 0) {
        ASSERT_EQ(node, &tree_.node_pool[expected->second.slot]);
      }
      ASSERT_EQ(Traits::next(node), link->next != nullptr ? link->next->data : nullptr);
      prev = link;
      link = link->next;
      ++expected;
    }
    ASSERT_EQ(link, nullptr);
    ASSERT_EQ(tree_.order.last, prev);
    if (max_ != 0) {
      ASSERT_EQ(tree_.slot_stack->free_num, free_.size());
      ASSERT_EQ(tree_.slot_stack->used_num, model_.size());
    }
  }

  const typename Traits::Tree& tree() const {
    return tree_;
  }

 private:
  struct Order {
    bool reversed;
    bool operator()(const Key& a, const Key& b) const {
      return reversed ? b < a : a < b;
    }
  };
  struct Holder {
    std::uint32_t slot = 0;
    std::unique_ptr<Record> record;
  };

  /// Whether the model has the key; the operation must answer with its node or slot, or that there is none.
  template <class Operation>
  bool answers(Operation operation, const Key& key) {
    const auto found = model_.find(key);
    const bool known = found != model_.end();
    Node* node = nullptr;
    std::uint32_t slot = 0xDEAD;
    const std::uint32_t code = max_ == 0 ? operation(&tree_, key.data(), &node) : operation(&tree_, key.data(), &slot);
    EXPECT_EQ(code, known ? 0u : Traits::ABSENT);
    if (max_ == 0) {
      EXPECT_EQ(node, known ? &found->second.record->node : nullptr);
    } else {
      EXPECT_EQ(slot, known ? found->second.slot : Traits::NO_SLOT);
    }
    return known;
  }

  void ends_check() const {
    const qlix_comm_double_link_node *first = tree_.order.first, *last = tree_.order.last;
    qlix_comm_double_link_node* node = nullptr;
    EXPECT_EQ(Traits::is_none(&tree_), model_.empty() ? 1u : 0u);
    EXPECT_TRUE(Traits::first_node(&tree_, &node) == 0 && node == first);
    EXPECT_TRUE(Traits::last_node(&tree_, &node) == 0 && node == last);
    Key key(size_, '\0');
    EXPECT_EQ(Traits::first_key(&tree_, key.data()), model_.empty() ? Traits::EMPTY : 0u);
    EXPECT_TRUE(model_.empty() || key == model_.begin()->first);
    EXPECT_EQ(Traits::last_key(&tree_, key.data()), model_.empty() ? Traits::EMPTY : 0u);
    EXPECT_TRUE(model_.empty() || key == model_.rbegin()->first);
  }

  static void collect(const Node* node, std::vector<const Node*>& out) {
    if (node != nullptr) {
      collect(node->left, out);
      out.push_back(node);
      collect(node->right, out);
    }
  }

  typename Traits::Tree tree_{};
  std::uint32_t max_;
  std::uint32_t size_;
  std::map<Key, Holder, Order> model_;
  std::vector<std::uint32_t> free_;
};

template <class Traits>
class TreeTest : public Quiet {};
using Trees = testing::Types<AvlTraits, RbTraits>;
TYPED_TEST_SUITE(TreeTest, Trees);
