// Colours and balance of the red-black tree.
#pragma once

#include "qlix_comm/rb.h"

namespace qlix_comm_detail {

inline std::uint32_t rb_colour(const qlix_comm_rb_node* node) {
  return node->slot_colour & 3;
}

/// An absent node is black.
inline bool rb_is_red(const qlix_comm_rb_node* node) {
  return node != nullptr && rb_colour(node) == QLIX_COMM_RB_RED;
}

inline void rb_set_colour(qlix_comm_rb_node* node, std::uint32_t colour) {
  node->slot_colour = (node->slot_colour & ~std::uint32_t{3}) | colour;
}

/// The link that points to `node`: of its parent, or the root.
inline qlix_comm_rb_node*& rb_link(qlix_comm_rb* tree, const qlix_comm_rb_node* node) {
  qlix_comm_rb_node* const parent = node->parent;
  return parent == nullptr ? tree->root : parent->left == node ? parent->left : parent->right;
}

/// Exchanges the colours of two nodes.
void qlix_comm_rb_swich_color(qlix_comm_rb_node* a, qlix_comm_rb_node* b);
/// Restores the colour rules after the red `node` was hung into the tree.
void qlix_comm_rb_handle_ins(qlix_comm_rb* tree, qlix_comm_rb_node* node);
/// Restores the colour rules after a black node was taken out and `node` (may be null) took its place under `parent`.
void qlix_comm_rb_handle_del(qlix_comm_rb* tree, qlix_comm_rb_node* node, qlix_comm_rb_node* parent);

}  // namespace qlix_comm_detail
