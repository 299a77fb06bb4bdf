// What both trees share: where a result goes, and what a tree notes down between operations.
#pragma once

#include <cstddef>
#include <cstdint>

/// Where an operation puts its result: the slot of a static tree or the node of a dynamic one. It is given as `&slot`
/// or
/// `&node`; a place of the other kind is a null pointer to the tree (0x1201).
template <class Node>
class qlix_comm_tree_out {
 public:
  qlix_comm_tree_out(std::nullptr_t) {}  // NOLINT(google-explicit-constructor): callers write nullptr
  qlix_comm_tree_out(std::uint32_t* slot) : slot_(slot) {}  // NOLINT(google-explicit-constructor): and &slot
  qlix_comm_tree_out(Node** node) : node_(node) {}          // NOLINT(google-explicit-constructor): and &node

  /// The place that a tree of that mode writes; null when there is none.
  const void* place(bool dynamic) const {
    return dynamic ? static_cast<const void*>(node_) : slot_;
  }
  void set(bool dynamic, std::uint32_t slot, Node* node) const {
    if (dynamic) {
      *node_ = node;
    } else {
      *slot_ = slot;
    }
  }

 private:
  std::uint32_t* slot_ = nullptr;
  Node** node_ = nullptr;
};

/// What a tree has noted down of its keys and its last operations, so that the next ones need not find it out again.
/// The rule: a note never decides a result. What is looked up by one is compared with the key that is asked for, and
/// what names a node is dropped before that node leaves or another change moves it.
template <class Node>
struct qlix_comm_tree_notes {
  std::uint32_t head_at;  ///< where in a key its head stands: before that all keys of the tree are the same
  mutable Node* found;    ///< what the last search found
  mutable Node* awaited;  ///< the node behind it, while keys are asked for in order
};
