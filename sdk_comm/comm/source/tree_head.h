// Four bytes of each key in its node, common to both trees. They are the first that differ within the tree, as a
// number: most steps down a tree are decided by them, without a look at the key, which lies on another cache line.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "qlix_comm/avl.h"
#include "qlix_comm/rb.h"
#include "tree_key.h"

namespace qlix_comm_detail {

inline std::uint32_t tree_key_size(const qlix_comm_rb* tree) {
  return tree->key_size;
}
inline std::uint32_t tree_key_size(const qlix_comm_avl* tree) {
  return tree->key_len;
}

/// The head of a key. Under a compare hook every head is 0 and decides nothing.
template <class Tree>
std::uint32_t tree_head(const Tree* tree, const void* key) {
  if (tree->cmp != qlix_comm_rb_def_cmp) {
    return 0;
  }
  const std::uint32_t size = tree_key_size(tree);
  if (size >= 4) {
    return key_word<std::uint32_t>(static_cast<const std::uint8_t*>(key) + tree->notes.head_at);
  }
  std::uint8_t bytes[4] = {};
  memcpy(bytes, key, size);
  return key_word<std::uint32_t>(bytes);
}

/// Head of a key that is looked for, and whether a node with the same head has the key, unseen.
struct sought_head {
  std::uint32_t head;
  bool whole;
};

template <class Tree>
sought_head tree_head_of_sought(const Tree* tree, const void* key) {
  if (tree->notes.head_at != 0 && tree->root != nullptr) {
    if (const int order = memcmp(key, tree->root->key, tree->notes.head_at); order != 0) {
      return {order < 0 ? 0 : 0xFFFFFFFF, false};  // before or behind all keys of the tree
    }
  }
  return {tree_head(tree, key), tree->cmp == qlix_comm_rb_def_cmp && tree->notes.head_at + 4 >= tree_key_size(tree)};
}

/// Gives a node that comes into the tree its head. A key that differs from the tree's earlier than they do moves all
/// heads forward; those of a tree's first key stand at its end.
template <class Tree, class Node>
void tree_head_admit(Tree* tree, Node* node) {
  if (tree->root == nullptr) {
    const std::uint32_t size = tree_key_size(tree);
    tree->notes.head_at = tree->cmp == qlix_comm_rb_def_cmp && size >= 4 ? size - 4 : 0;
  } else if (tree->notes.head_at != 0 && memcmp(node->key, tree->root->key, tree->notes.head_at) != 0) {
    const auto* const ours = static_cast<const std::uint8_t*>(tree->root->key);
    const auto* const differ =
        std::mismatch(ours, ours + tree->notes.head_at, static_cast<const std::uint8_t*>(node->key)).first;
    tree->notes.head_at = static_cast<std::uint32_t>(differ - ours);
    for (const auto* link = tree->order.first; link != nullptr; link = link->next) {
      auto* const other = static_cast<Node*>(link->data);
      other->key_head = tree_head(tree, other->key);
    }
  }
  node->key_head = tree_head(tree, node->key);
}

/// Walks down to `key`; `walk` and `prefetch` as in tree_descend.
template <class Tree, class Walk, class Prefetch>
Walk tree_head_descend(const Tree* tree, const void* key, Walk walk, Prefetch prefetch) {
  using node_t = std::remove_pointer_t<decltype(tree->root)>;
  const sought_head ours = tree_head_of_sought(tree, key);
  return tree_with_key(key, tree_key_size(tree), tree->cmp, [=](const auto& sought) {
    const auto compare = [ours, &sought](const node_t* node, bool& to_right) {
      to_right = ours.head > node->key_head;
      return ours.head == node->key_head && (ours.whole || sought.equals(node->key, to_right));
    };
    return tree_descend(tree->root, walk, compare, prefetch);
  });
}

}  // namespace qlix_comm_detail
