// The trees of the common library and their peers behind one face: built for `keys`, then asked by index into them.
#pragma once

#include <array>
#include <boost/intrusive/avl_set.hpp>
#include <boost/intrusive/set.hpp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>

#include "large_pages.h"
#include "qlix_comm/avl.h"
#include "qlix_comm/rb.h"

template <std::size_t SIZE>
using KeyBytes = std::array<std::uint8_t, SIZE>;

template <std::size_t SIZE>
using Keys = LargePageVector<KeyBytes<SIZE>>;

template <std::size_t SIZE>
struct KeyLess {
  bool operator()(const KeyBytes<SIZE>& a, const KeyBytes<SIZE>& b) const {
    return memcmp(a.data(), b.data(), SIZE) < 0;
  }
};

// A benchmark of a tree that does not work is worth nothing.
inline void must(bool holds) {
  if (!holds) {
    abort();
  }
}

struct AvlFunctions {
  using Tree = qlix_comm_avl;
  using Node = qlix_comm_avl_node;
  static constexpr std::size_t alignment = alignof(Node);
  static constexpr auto init = qlix_comm_avl_init;
  static constexpr auto insert = qlix_comm_avl_insert;
  static constexpr auto node_find = qlix_comm_avl_node_find;
  static constexpr auto remove = qlix_comm_avl_remove;
  static constexpr auto destroy = qlix_comm_avl_destroy;
  static constexpr auto next = qlix_comm_avl_next;
  static bool slot_find(const Tree* tree, const void* key, std::uint32_t* slot) {
    const Node* const node = qlix_comm_avl_node_find(tree, key);
    *slot = node != nullptr ? qlix_comm_avl_node_slot(tree, node) : 0;
    return node != nullptr;
  }
};

struct RbFunctions {
  using Tree = qlix_comm_rb;
  using Node = qlix_comm_rb_node;
  static constexpr std::size_t alignment = 64;
  static constexpr auto init = qlix_comm_rb_init;
  static constexpr auto insert = qlix_comm_rb_insert;
  static Node* node_find(const Tree* tree, const void* key) {
    Node* node = nullptr;
    qlix_comm_rb_search(tree, key, &node);
    return node;
  }
  static constexpr auto remove = qlix_comm_rb_delete;
  static constexpr auto destroy = qlix_comm_rb_destroy;
  static constexpr auto next = qlix_comm_rb_next;
  static bool slot_find(const Tree* tree, const void* key, std::uint32_t* slot) {
    return qlix_comm_rb_search(tree, key, slot) == 0;
  }
};

/// Walks the tree in key order.
template <class Functions>
std::uint64_t keys_sum(const typename Functions::Tree& tree) {
  std::uint64_t sum = 0;
  const auto* const first = tree.order.first;
  const auto* node = first != nullptr ? static_cast<const typename Functions::Node*>(first->data) : nullptr;
  for (; node != nullptr; node = Functions::next(node)) {
    sum += *static_cast<const std::uint8_t*>(node->key);
  }
  return sum;
}

/// Node mode: nodes and keys of the caller, laid out as the hash tables do: each kind in an array of its own, and a
/// red-black node, which is as large as a cache line, on a line of its own.
template <class Functions, std::size_t SIZE>
class NodeTree {
 public:
  explicit NodeTree(const Keys<SIZE>& keys) : asked_(keys), keys_(keys), nodes_(keys.size()) {
    must(Functions::init(&tree_, 0, SIZE, nullptr) == 0);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      nodes_[i].key = keys_[i].data();
    }
  }
  void insert(std::size_t i) {
    if constexpr (std::is_same_v<Functions, AvlFunctions>) {
      must(Functions::insert(&tree_, &nodes_[i], nullptr) == 0);
    } else {
      typename Functions::Node* out;
      must(Functions::insert(&tree_, &nodes_[i], &out) == 0);
    }
  }
  void search(std::size_t i) {
    must(Functions::node_find(&tree_, asked_[i].data()) == &nodes_[i]);
  }
  void remove(std::size_t i) {
    typename Functions::Node* out;
    must(Functions::remove(&tree_, asked_[i].data(), &out) == 0);
  }
  std::uint64_t walk() const {
    return keys_sum<Functions>(tree_);
  }
  static std::size_t entry_size() {
    return sizeof(Node) + SIZE;
  }

 private:
  struct alignas(Functions::alignment) Node : Functions::Node {};
  const Keys<SIZE>& asked_;
  Keys<SIZE> keys_;  // those that the nodes point to
  LargePageVector<Node> nodes_;
  typename Functions::Tree tree_{};
};

/// Pool mode: the tree owns nodes, keys and slots.
template <class Functions, std::size_t SIZE>
class PoolTree {
 public:
  explicit PoolTree(const Keys<SIZE>& keys) : keys_(keys) {
    must(Functions::init(&tree_, static_cast<std::uint32_t>(keys.size()), SIZE, nullptr) == 0);
  }
  ~PoolTree() {
    Functions::destroy(&tree_);
  }
  PoolTree(const PoolTree&) = delete;
  PoolTree& operator=(const PoolTree&) = delete;
  void insert(std::size_t i) {
    std::uint32_t slot;
    must(Functions::insert(&tree_, const_cast<std::uint8_t*>(keys_[i].data()), &slot) == 0);
  }
  void search(std::size_t i) {
    std::uint32_t slot;
    must(Functions::slot_find(&tree_, keys_[i].data(), &slot) && slot < keys_.size());
  }
  void remove(std::size_t i) {
    std::uint32_t slot;
    must(Functions::remove(&tree_, keys_[i].data(), &slot) == 0);
  }
  std::uint64_t walk() const {
    return keys_sum<Functions>(tree_);
  }
  static std::size_t entry_size() {
    return sizeof(typename Functions::Node) + SIZE + sizeof(qlix_comm_liststack_entry);
  }

 private:
  const Keys<SIZE>& keys_;
  typename Functions::Tree tree_{};
};

/// An intrusive set whose records hold hook and key side by side. Its hooks are the plain, fastest ones.
template <template <class...> class Set, class Hook, std::size_t SIZE>
class IntrusiveTree {
 public:
  explicit IntrusiveTree(const Keys<SIZE>& keys) : keys_(keys), records_(keys.size()) {
    for (std::size_t i = 0; i < keys.size(); ++i) {
      records_[i].key = keys[i];
    }
  }
  ~IntrusiveTree() {
    set_.clear();
  }
  IntrusiveTree(const IntrusiveTree&) = delete;
  IntrusiveTree& operator=(const IntrusiveTree&) = delete;
  void insert(std::size_t i) {
    must(set_.insert(records_[i]).second);
  }
  void search(std::size_t i) {
    must(&*set_.find(keys_[i]) == &records_[i]);
  }
  void remove(std::size_t i) {
    must(set_.erase(keys_[i]) == 1);
  }
  std::uint64_t walk() const {
    std::uint64_t sum = 0;
    for (const Record& record : set_) {
      sum += record.key[0];
    }
    return sum;
  }
  static std::size_t entry_size() {
    return sizeof(Record);
  }

 private:
  struct Record : Hook {
    KeyBytes<SIZE> key;
  };
  struct KeyOf {
    using type = KeyBytes<SIZE>;
    const type& operator()(const Record& record) const {
      return record.key;
    }
  };
  const Keys<SIZE>& keys_;
  LargePageVector<Record> records_;
  Set<Record, boost::intrusive::key_of_value<KeyOf>, boost::intrusive::compare<KeyLess<SIZE>>> set_;
};

using NormalLink = boost::intrusive::link_mode<boost::intrusive::normal_link>;
template <std::size_t SIZE>
using BoostSet = IntrusiveTree<boost::intrusive::set, boost::intrusive::set_base_hook<NormalLink>, SIZE>;
template <std::size_t SIZE>
using BoostAvlSet = IntrusiveTree<boost::intrusive::avl_set, boost::intrusive::avl_set_base_hook<NormalLink>, SIZE>;

template <std::size_t SIZE>
class StdSet {
 public:
  explicit StdSet(const Keys<SIZE>& keys) : keys_(keys) {}
  void insert(std::size_t i) {
    must(set_.insert(keys_[i]).second);
  }
  void search(std::size_t i) {
    must(set_.find(keys_[i]) != set_.end());
  }
  void remove(std::size_t i) {
    must(set_.erase(keys_[i]) == 1);
  }
  std::uint64_t walk() const {
    std::uint64_t sum = 0;
    for (const KeyBytes<SIZE>& key : set_) {
      sum += key[0];
    }
    return sum;
  }
  static std::size_t entry_size() {
    // A node is a colour, three links and the key; the heap adds its header of 8 bytes and rounds up to 16.
    const std::size_t node = 32 + (SIZE + 7) / 8 * 8;
    return (node + 8 + 15) / 16 * 16;
  }

 private:
  const Keys<SIZE>& keys_;
  std::set<KeyBytes<SIZE>, KeyLess<SIZE>> set_;
};
