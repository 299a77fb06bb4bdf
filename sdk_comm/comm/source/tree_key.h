// The way down a tree, common to the AVL and the red-black tree. What makes it fast:
//  - Under the default compare a key is read as big-endian words, which order as memcmp does. The kind of key is chosen
//    once for an operation (tree_with_key); no step calls through a pointer.
//  - Both children are prefetched while the key of their parent is compared.
//  - The way is taken by arithmetic: in a random walk every second branch would be predicted wrongly, and the wrong
//    subtree be fetched. Keys that come in order are met by their trees without a walk.
#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "qlix_comm/prefetch.h"
#include "qlix_comm/rb.h"

namespace qlix_comm_detail {

template <class Word>
Word key_word(const std::uint8_t* at) {
  Word word;
  memcpy(&word, at, sizeof word);
  if constexpr (std::endian::native == std::endian::little) {
    return sizeof word == 8 ? static_cast<Word>(__builtin_bswap64(word))
                            : static_cast<Word>(__builtin_bswap32(static_cast<std::uint32_t>(word)));
  }
  return word;
}

/// A key of 1 to 3 bytes as one number: its first, middle and last byte, which may be the same.
class byte_key {
 public:
  byte_key(const void* key, std::uint32_t size) : size_(size), number_(number(key)) {}

  /// True when `other` is equal; else `right` says whether this key lies to its right.
  bool equals(const void* other, bool& right) const {
    const std::uint32_t their = number(other);
    right = number_ > their;
    return number_ == their;
  }

 private:
  std::uint32_t number(const void* key) const {
    const auto* const bytes = static_cast<const std::uint8_t*>(key);
    return std::uint32_t{bytes[0]} << 16 | std::uint32_t{bytes[size_ / 2]} << 8 | bytes[size_ - 1];
  }

  std::uint32_t size_;
  std::uint32_t number_;
};

/// A key of 4 to 8 bytes as one number: its first and its last four bytes, which may overlap.
class short_key {
 public:
  short_key(const void* key, std::uint32_t size) : last_(size - 4), number_(number(key)) {}

  bool equals(const void* other, bool& right) const {
    const std::uint64_t their = number(other);
    right = number_ > their;
    return number_ == their;
  }

 private:
  std::uint64_t number(const void* key) const {
    const auto* const bytes = static_cast<const std::uint8_t*>(key);
    return std::uint64_t{key_word<std::uint32_t>(bytes)} << 32 | key_word<std::uint32_t>(bytes + last_);
  }

  std::uint32_t last_;  // offset of the last four bytes
  std::uint64_t number_;
};

/// A key of more than 8 bytes: its first word is at hand, the others are read when that one does not decide. The last
/// word may overlap the one before.
class long_key {
 public:
  long_key(const void* key, std::uint32_t size)
      : bytes_(static_cast<const std::uint8_t*>(key)), last_(size - 8), first_(key_word<std::uint64_t>(bytes_)) {}

  bool equals(const void* other, bool& right) const {
    const auto* const theirs = static_cast<const std::uint8_t*>(other);
    std::uint64_t our_word = first_;
    std::uint64_t their_word = key_word<std::uint64_t>(theirs);
    for (std::uint32_t at = 8; our_word == their_word; at += 8) {
      if (at > last_) {
        our_word = key_word<std::uint64_t>(bytes_ + last_);
        their_word = key_word<std::uint64_t>(theirs + last_);
        break;
      }
      our_word = key_word<std::uint64_t>(bytes_ + at);
      their_word = key_word<std::uint64_t>(theirs + at);
    }
    right = our_word > their_word;
    return our_word == their_word;
  }

 private:
  const std::uint8_t* bytes_;
  std::uint32_t last_;  // offset of the last eight bytes
  std::uint64_t first_;
};

/// A key under a compare hook.
class hook_key {
 public:
  hook_key(const void* key, std::uint32_t size, qlix_comm_rb_cmp cmp) : key_(key), size_(size), cmp_(cmp) {}

  bool equals(const void* other, bool& right) const {
    const std::int32_t order = cmp_(key_, other, size_);
    right = order > 0;
    return order == 0;
  }

 private:
  const void* key_;
  std::uint32_t size_;
  qlix_comm_rb_cmp cmp_;
};

/// Runs `action` with the fastest form of a key that keeps the order of `cmp`.
template <class Action>
auto tree_with_key(const void* key, std::uint32_t size, qlix_comm_rb_cmp cmp, Action action) {
  if (cmp != qlix_comm_rb_def_cmp) {
    return action(hook_key(key, size, cmp));
  }
  if (size > 8) {
    return action(long_key(key, size));
  }
  if (size >= 4) {
    return action(short_key(key, size));
  }
  return action(byte_key(key, size));
}

/// Order of two keys: negative, 0 or positive.
inline std::int32_t tree_key_order(const void* key, std::uint32_t size, qlix_comm_rb_cmp cmp, const void* other) {
  return tree_with_key(key, size, cmp, [other](const auto& sought) {
    bool right;
    return sought.equals(other, right) ? 0 : right ? 1 : -1;
  });
}

/// `right ? if_right : if_left` without a branch.
template <class Pointee>
Pointee* tree_select(bool right, Pointee* if_left, Pointee* if_right) {
  const auto left_bits = reinterpret_cast<std::uintptr_t>(if_left);
  const auto right_bits = reinterpret_cast<std::uintptr_t>(if_right);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): it is one of the two pointers
  return reinterpret_cast<Pointee*>(left_bits ^ ((left_bits ^ right_bits) & -static_cast<std::uintptr_t>(right)));
}

/// Asks for the cache line at an address that need not be one: that of an absent child is never read.
inline void tree_prefetch(std::uintptr_t address) {
  qlix_comm_prefetch(reinterpret_cast<const void*>(address));  // NOLINT(performance-no-int-to-ptr)
}

/// Walks from `root` to the node that `compare(node, to_right)` finds, or to null, and returns what `walk` is then:
/// `walk.existing` is the node. `walk.step(node, to_right)` is called for each node that is left behind and ends the
/// walk by returning false; `prefetch(child)` asks for what the comparison with a child, who may be absent, will read.
/// The walk goes by value, so that it is kept in registers: short steps let the processor begin with the next walk
/// while this one still waits for memory.
template <class Node, class Walk, class Compare, class Prefetch>
Walk tree_descend(Node* root, Walk walk, Compare compare, Prefetch prefetch) {
  Node* node = root;
  while (node != nullptr) {
    Node* const left = node->left;
    Node* const right = node->right;
    prefetch(left);
    prefetch(right);
    bool to_right = false;
    if (compare(node, to_right)) {
      walk.existing = node;
      break;
    }
    if (!walk.step(node, to_right)) {
      break;
    }
    node = tree_select(to_right, left, right);
  }
  return walk;
}

/// A walk that only looks.
template <class Node>
struct tree_look {
  Node* existing = nullptr;

  bool step(const Node*, bool) {
    return true;
  }
};

/// The node with `key`, or null. Searches that ask for one key after the other find each behind the one before; others
/// go down the tree with `find()`. What a search notes down is a hint: searches may run side by side.
template <class Tree, class Find>
auto* tree_search(const Tree* tree, const void* key, std::uint32_t size, Find find) {
  const std::atomic_ref awaited(tree->notes.awaited);
  const std::atomic_ref last(tree->notes.found);
  auto* node = awaited.load(std::memory_order_relaxed);
  if (node == nullptr || tree_key_order(key, size, tree->cmp, node->key) != 0) {
    node = find();
  }
  if (node != nullptr) {
    const auto* const before = last.load(std::memory_order_relaxed);
    const bool in_order = before != nullptr && before->order.next == &node->order;
    const auto* const behind = in_order ? node->order.next : nullptr;
    awaited.store(behind != nullptr ? static_cast<decltype(node)>(behind->data) : nullptr, std::memory_order_relaxed);
    last.store(node, std::memory_order_relaxed);
    tree_prefetch(reinterpret_cast<std::uintptr_t>(&node->order));  // for the next search
  }
  return node;
}

/// Drops what searches noted down: a node leaves.
template <class Tree>
void tree_search_forget(const Tree* tree) {
  tree->notes.found = nullptr;
  tree->notes.awaited = nullptr;
}

}  // namespace qlix_comm_detail
