#include "rb_balance.h"

namespace qlix_comm_detail {

namespace {

using node_t = qlix_comm_rb_node;

// A child slot by side, so that each case of the fix-ups is written once for both sides.
node_t*& child(node_t* node, bool right) {
  return right ? node->right : node->left;
}

// Turns `top` down to `to_right`; its other child comes up and is returned.
node_t* rotate(qlix_comm_rb* tree, node_t* top, bool to_right) {
  node_t* const up = child(top, !to_right);
  node_t* const middle = child(up, to_right);
  rb_link(tree, top) = up;
  up->parent = top->parent;
  child(up, to_right) = top;
  top->parent = up;
  child(top, !to_right) = middle;
  if (middle != nullptr) {
    middle->parent = top;
  }
  return up;
}

}  // namespace

void qlix_comm_rb_swich_color(qlix_comm_rb_node* a, qlix_comm_rb_node* b) {
  const std::uint32_t colour = rb_colour(a);
  rb_set_colour(a, rb_colour(b));
  rb_set_colour(b, colour);
}

void qlix_comm_rb_handle_ins(qlix_comm_rb* tree, qlix_comm_rb_node* node) {
  while (rb_is_red(node->parent)) {
    node_t* const parent = node->parent;
    node_t* const grandparent = parent->parent;  // a red node is never the root
    const bool side = grandparent->right == parent;
    node_t* const uncle = child(grandparent, !side);
    if (!rb_is_red(uncle)) {
      if (child(parent, !side) == node) {
        rotate(tree, parent, side);
      }
      qlix_comm_rb_swich_color(rotate(tree, grandparent, !side), grandparent);
      break;
    }
    rb_set_colour(parent, QLIX_COMM_RB_BLACK);
    rb_set_colour(uncle, QLIX_COMM_RB_BLACK);
    rb_set_colour(grandparent, QLIX_COMM_RB_RED);
    node = grandparent;
  }
  rb_set_colour(tree->root, QLIX_COMM_RB_BLACK);
}

void qlix_comm_rb_handle_del(qlix_comm_rb* tree, qlix_comm_rb_node* node, qlix_comm_rb_node* parent) {
  // The paths through `node` lack one black node: a sibling, with at least that black node below it, always exists.
  while (parent != nullptr && !rb_is_red(node)) {
    const bool side = parent->right == node;
    node_t* sibling = child(parent, !side);
    if (rb_is_red(sibling)) {
      qlix_comm_rb_swich_color(rotate(tree, parent, side), parent);
      sibling = child(parent, !side);
    }
    if (sibling == nullptr) {
      return;  // only in a tree whose links the caller has damaged
    }
    node_t* const far = child(sibling, !side);
    if (!rb_is_red(far) && !rb_is_red(child(sibling, side))) {
      rb_set_colour(sibling, QLIX_COMM_RB_RED);
      node = parent;
      parent = node->parent;
      continue;
    }
    if (!rb_is_red(far)) {
      qlix_comm_rb_swich_color(rotate(tree, sibling, !side), sibling);
    }
    node_t* const top = rotate(tree, parent, side);
    rb_set_colour(top, rb_colour(parent));
    rb_set_colour(parent, QLIX_COMM_RB_BLACK);
    rb_set_colour(child(top, !side), QLIX_COMM_RB_BLACK);
    return;
  }
  if (node != nullptr) {
    rb_set_colour(node, QLIX_COMM_RB_BLACK);
  }
}

}  // namespace qlix_comm_detail
