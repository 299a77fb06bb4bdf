// The trees of the common library and their peers behind one face: built for `keys`, then asked by index into them.
// Records are ordinary ones: node or hook with the key beside it, each in memory of its own from malloc.
#pragma once

#include <absl/container/btree_set.h>

#include <array>
#include <bit>
#include <boost/intrusive/avl_set.hpp>
#include <boost/intrusive/list.hpp>
#include <boost/intrusive/set.hpp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <vector>

#include "qlix_comm/avl.h"
#include "qlix_comm/rb.h"

template <std::size_t SIZE>
using KeyBytes = std::array<std::uint8_t, SIZE>;

template <std::size_t SIZE>
using Keys = std::vector<KeyBytes<SIZE>>;

/// As most who use a set of byte strings compare them.
template <std::size_t SIZE>
struct ByteLess {
  bool operator()(const KeyBytes<SIZE>& a, const KeyBytes<SIZE>& b) const {
    return memcmp(a.data(), b.data(), SIZE) < 0;
  }
};

/// By big-endian words.
template <std::size_t SIZE>
struct WordLess {
  bool operator()(const KeyBytes<SIZE>& a, const KeyBytes<SIZE>& b) const {
    if constexpr (SIZE % 8 == 0) {
      for (std::size_t at = 0; at < SIZE; at += 8) {
        const std::uint64_t left = word<std::uint64_t>(a, at);
        const std::uint64_t right = word<std::uint64_t>(b, at);
        if (left != right) {
          return left < right;
        }
      }
      return false;
    } else {
      static_assert(SIZE == 4);
      return word<std::uint32_t>(a, 0) < word<std::uint32_t>(b, 0);
    }
  }

 private:
  template <class Word>
  static Word word(const KeyBytes<SIZE>& key, std::size_t at) {
    Word value;
    memcpy(&value, key.data() + at, sizeof value);
    if constexpr (std::endian::native == std::endian::big) {
      return value;
    }
    return sizeof value == 8 ? __builtin_bswap64(value) : __builtin_bswap32(static_cast<std::uint32_t>(value));
  }
};

// A benchmark of a tree that does not work is worth nothing.
inline void must(bool holds) {
  if (!holds) {
    abort();
  }
}

struct MallocFree {
  void operator()(void* memory) const {
    free(memory);
  }
};

/// One record for each key.
template <class Record, std::size_t SIZE>
class Records {
 public:
  explicit Records(const Keys<SIZE>& keys) {
    for (const KeyBytes<SIZE>& key : keys) {
      records_.emplace_back(new (malloc(sizeof(Record))) Record());
      records_.back()->key_bytes = key;
    }
  }
  Record& operator[](std::size_t i) {
    return *records_[i];
  }

 private:
  std::vector<std::unique_ptr<Record, MallocFree>> records_;
};

struct AvlFunctions {
  using Tree = qlix_comm_avl;
  using Node = qlix_comm_avl_node;
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

/// Node mode: the records are the caller's.
template <class Functions, std::size_t SIZE>
class NodeTree {
 public:
  explicit NodeTree(const Keys<SIZE>& keys) : keys_(keys), records_(keys) {
    must(Functions::init(&tree_, 0, SIZE, nullptr) == 0);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      records_[i].key = records_[i].key_bytes.data();
    }
  }
  void insert(std::size_t i) {
    if constexpr (std::is_same_v<Functions, AvlFunctions>) {
      must(Functions::insert(&tree_, &records_[i], nullptr) == 0);
    } else {
      typename Functions::Node* out;
      must(Functions::insert(&tree_, &records_[i], &out) == 0);
    }
  }
  void search(std::size_t i) {
    must(Functions::node_find(&tree_, keys_[i].data()) == &records_[i]);
  }
  void remove(std::size_t i) {
    typename Functions::Node* out;
    must(Functions::remove(&tree_, keys_[i].data(), &out) == 0);
  }
  std::uint64_t walk() const {
    return keys_sum<Functions>(tree_);
  }

 private:
  struct Record : Functions::Node {
    KeyBytes<SIZE> key_bytes;
  };
  const Keys<SIZE>& keys_;
  Records<Record, SIZE> records_;
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

 private:
  const Keys<SIZE>& keys_;
  typename Functions::Tree tree_{};
};

using NormalLink = boost::intrusive::link_mode<boost::intrusive::normal_link>;
using OrderHook = boost::intrusive::list_base_hook<NormalLink>;
struct NoHook {};

/// An intrusive set with its plain, fastest hooks; with an order list its records stand in a list in key order too, as
/// the nodes of the library's trees do, and are walked along it.
template <template <class...> class Set, class Hook, template <std::size_t> class Less, bool ORDER_LIST,
          std::size_t SIZE>
class IntrusiveTree {
 public:
  explicit IntrusiveTree(const Keys<SIZE>& keys) : keys_(keys), records_(keys) {}
  ~IntrusiveTree() {
    set_.clear();
  }
  IntrusiveTree(const IntrusiveTree&) = delete;
  IntrusiveTree& operator=(const IntrusiveTree&) = delete;
  void insert(std::size_t i) {
    const auto [at, fresh] = set_.insert(records_[i]);
    must(fresh);
    if constexpr (ORDER_LIST) {
      const auto next = std::next(at);
      order_.insert(next == set_.end() ? order_.end() : order_.iterator_to(*next), records_[i]);
    }
  }
  void search(std::size_t i) {
    must(&*set_.find(keys_[i]) == &records_[i]);
  }
  void remove(std::size_t i) {
    const auto at = set_.find(keys_[i]);
    must(at != set_.end());
    if constexpr (ORDER_LIST) {
      order_.erase(order_.iterator_to(*at));
    }
    set_.erase(at);
  }
  std::uint64_t walk() const {
    std::uint64_t sum = 0;
    if constexpr (ORDER_LIST) {
      for (const Record& record : order_) {
        sum += record.key_bytes[0];
      }
    } else {
      for (const Record& record : set_) {
        sum += record.key_bytes[0];
      }
    }
    return sum;
  }

 private:
  struct Record : Hook, std::conditional_t<ORDER_LIST, OrderHook, NoHook> {
    KeyBytes<SIZE> key_bytes;
  };
  struct KeyOf {
    using type = KeyBytes<SIZE>;
    const type& operator()(const Record& record) const {
      return record.key_bytes;
    }
  };
  struct NoList {};
  const Keys<SIZE>& keys_;
  Records<Record, SIZE> records_;
  Set<Record, boost::intrusive::key_of_value<KeyOf>, boost::intrusive::compare<Less<SIZE>>> set_;
  [[no_unique_address]] std::conditional_t<ORDER_LIST, boost::intrusive::list<Record>, NoList> order_;
};

template <template <std::size_t> class Less, bool ORDER_LIST, std::size_t SIZE>
using BoostSet =
    IntrusiveTree<boost::intrusive::set, boost::intrusive::set_base_hook<NormalLink>, Less, ORDER_LIST, SIZE>;
template <template <std::size_t> class Less, bool ORDER_LIST, std::size_t SIZE>
using BoostAvlSet =
    IntrusiveTree<boost::intrusive::avl_set, boost::intrusive::avl_set_base_hook<NormalLink>, Less, ORDER_LIST, SIZE>;

/// A set that owns its keys.
template <class Set, std::size_t SIZE>
class OwningSet {
 public:
  explicit OwningSet(const Keys<SIZE>& keys) : keys_(keys) {}
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

 private:
  const Keys<SIZE>& keys_;
  Set set_;
};

template <std::size_t SIZE>
using StdSet = OwningSet<std::set<KeyBytes<SIZE>, ByteLess<SIZE>>, SIZE>;
template <std::size_t SIZE>
using BTreeSet = OwningSet<absl::btree_set<KeyBytes<SIZE>, WordLess<SIZE>>, SIZE>;
