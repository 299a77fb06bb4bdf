#include "qlix_comm/rb.h"

#include <algorithm>
#include <cstring>

#include "double_link_ops.h"
#include "qlix_comm/check.h"
#include "rb_balance.h"
#include "tree_key.h"
#include "tree_pool.h"

using namespace qlix_comm_detail;

namespace {

using node_t = qlix_comm_rb_node;

constexpr std::uint32_t UNLIMITED = 0xFFFFFFFF;
constexpr std::uint32_t DEPTH_MAX = 127;  // levels above a new node

static_assert(offsetof(node_t, order) == 0, "releasing the list node must release the record");
static_assert(sizeof(node_t) == 64);

std::uint32_t pool_init(qlix_comm_rb* tree, std::uint32_t max) {
  tree_pool pool;
  QLIX_COMM_CHECK_RC(tree_pool_create(max, tree->key_size, sizeof(node_t), &pool), "tree_pool_create");
  tree->slot_stack = pool.slot_stack;
  tree->key_pool = pool.key_pool;
  tree->node_pool = static_cast<node_t*>(pool.node_pool);
  return QLIX_COMM_OK;
}

node_t* record_of(const qlix_comm_double_link_node* order) {
  return static_cast<node_t*>(order->data);
}

// The four bytes of a key from head_at on as a number, which decides most comparisons without a look at the key itself.
// Under a compare hook every head is 0 and decides nothing.
std::uint32_t key_head(const qlix_comm_rb* tree, const void* key) {
  if (tree->cmp != qlix_comm_rb_def_cmp) {
    return 0;
  }
  if (tree->key_size >= 4) {
    return key_word<std::uint32_t>(static_cast<const std::uint8_t*>(key) + tree->head_at);
  }
  std::uint8_t bytes[4] = {};
  memcpy(bytes, key, tree->key_size);
  return key_word<std::uint32_t>(bytes);
}

// Where the head of a tree's first key stands: at its end.
std::uint32_t head_at_first(const qlix_comm_rb* tree) {
  return tree->cmp == qlix_comm_rb_def_cmp && tree->key_size >= 4 ? tree->key_size - 4 : 0;
}

// Moves the heads forward to where the new key differs from the tree's.
void heads_admit(qlix_comm_rb* tree, const void* key) {
  if (tree->root == nullptr) {
    tree->head_at = head_at_first(tree);
    return;
  }
  if (memcmp(key, tree->root->key, tree->head_at) == 0) {
    return;
  }
  const auto* const ours = static_cast<const std::uint8_t*>(tree->root->key);
  const std::uint8_t* const differ =
      std::mismatch(ours, ours + tree->head_at, static_cast<const std::uint8_t*>(key)).first;
  tree->head_at = static_cast<std::uint32_t>(differ - ours);
  for (const auto* link = tree->order.first; link != nullptr; link = link->next) {
    node_t* const node = record_of(link);
    node->key_head = key_head(tree, node->key);
  }
}

// Head of a key that is looked for, and whether a node with the same head has the key, unseen.
struct sought_head {
  std::uint32_t head;
  bool whole;
};

sought_head head_of_sought(const qlix_comm_rb* tree, const void* key) {
  if (tree->head_at != 0 && tree->root != nullptr) {
    if (const int order = memcmp(key, tree->root->key, tree->head_at); order != 0) {
      return {order < 0 ? 0 : 0xFFFFFFFF, false};  // before or behind all keys of the tree
    }
  }
  return {key_head(tree, key), tree->cmp == qlix_comm_rb_def_cmp && tree->head_at + 4 >= tree->key_size};
}

// Walks down to the node with `key`, or to null; `step` as in tree_descend.
template <class Step>
node_t* descend(const qlix_comm_rb* tree, const void* key, Step step) {
  const sought_head ours = head_of_sought(tree, key);
  return tree_with_key(key, tree->key_size, tree->cmp, [tree, ours, step](const auto& sought) {
    const auto compare = [ours, &sought](const node_t* node, bool& to_right) {
      to_right = ours.head > node->key_head;
      return ours.head == node->key_head && (ours.whole || sought.equals(node->key, to_right));
    };
    const auto prefetch = [](const node_t* child) {
      tree_prefetch(reinterpret_cast<std::uintptr_t>(child) + offsetof(node_t, key_head));
      tree_prefetch(reinterpret_cast<std::uintptr_t>(child) + offsetof(node_t, right));
    };
    return tree_descend(tree->root, compare, step, prefetch);
  });
}

node_t* node_find(const qlix_comm_rb* tree, const void* key) {
  return descend(tree, key, [](const node_t*, bool) { return true; });
}

void result_set(const qlix_comm_rb* tree, node_t* node, void* out) {
  if (tree->dynamic != 0) {
    *static_cast<node_t**>(out) = node;
  } else {
    *static_cast<std::uint32_t*>(out) = qlix_comm_rb_node_slot(node);
  }
}

// Where a key is, or goes: `existing` has it, or it goes below `parent` (null: it becomes the root).
struct place {
  node_t* existing = nullptr;
  node_t* parent = nullptr;
  bool right = false;
  std::uint32_t depth = 0;
};

void place_descend(const qlix_comm_rb* tree, const void* key, place& at) {
  at.existing = descend(tree, key, [&at](node_t* node, bool right) {
    at.parent = node;
    at.right = right;
    return ++at.depth <= DEPTH_MAX;
  });
}

// Place of a key to insert. Keys that come in ascending order are appended without a walk: the last node has no right
// child.
place insert_place(const qlix_comm_rb* tree, const void* key) {
  place at;
  if (tree->order.last != nullptr &&
      tree_key_order(key, tree->key_size, tree->cmp, record_of(tree->order.last)->key) > 0) {
    at.parent = record_of(tree->order.last);
    at.right = true;
  } else {
    place_descend(tree, key, at);
  }
  return at;
}

// Nodes of the order list that are looked at on the way from a near node to a key's place.
constexpr std::uint32_t NEAR_STEPS = 8;

// Order of a key and a node's: negative, 0, positive.
std::int32_t order_to(const qlix_comm_rb* tree, const void* key, const sought_head& ours, const node_t* node) {
  if (ours.head != node->key_head) {
    return ours.head < node->key_head ? -1 : 1;
  }
  return tree_key_order(key, tree->key_size, tree->cmp, node->key);
}

// Place of a key to insert, along the order list from a near node. Between two neighbours there is one free link: the
// right one of the former, or else the left one of the latter. Too far away, it is looked for from the root.
place near_place(const qlix_comm_rb* tree, const void* key, const node_t* near) {
  const sought_head ours = head_of_sought(tree, key);
  const std::int32_t way = order_to(tree, key, ours, near);
  const qlix_comm_double_link_node* link = &near->order;
  std::int32_t order = way;
  for (std::uint32_t step = 0; link != nullptr && (order < 0) == (way < 0) && order != 0; step++) {
    if (step == NEAR_STEPS) {
      return insert_place(tree, key);
    }
    link = way < 0 ? link->prev : link->next;
    order = link == nullptr ? way : order_to(tree, key, ours, record_of(link));
  }
  place at;
  if (order == 0) {
    at.existing = record_of(link);
    return at;
  }
  const qlix_comm_double_link_node* const before = way < 0 ? link : link == nullptr ? tree->order.last : link->prev;
  at.right = before != nullptr && record_of(before)->right == nullptr;
  at.parent = record_of(at.right ? before : before == nullptr ? tree->order.first : before->next);
  return at;
}

// Place of a key to delete. Keys that leave in ascending order are found without a walk.
place delete_place(const qlix_comm_rb* tree, const void* key) {
  place at;
  if (tree->order.first != nullptr &&
      tree_key_order(key, tree->key_size, tree->cmp, record_of(tree->order.first)->key) == 0) {
    at.existing = record_of(tree->order.first);
  } else {
    place_descend(tree, key, at);
  }
  return at;
}

// Asks for what the removal of a node will touch, all at once. The next in order is also the successor that may take
// its place.
void neighbours_prefetch(const qlix_comm_rb* tree, const node_t* node) {
  for (const auto* const link : {node->order.prev, node->order.next}) {
    tree_prefetch(reinterpret_cast<std::uintptr_t>(link));
    tree_prefetch(reinterpret_cast<std::uintptr_t>(link) + offsetof(node_t, parent));
  }
  if (tree->dynamic == 0) {
    tree_prefetch(reinterpret_cast<std::uintptr_t>(tree->slot_stack->entries + qlix_comm_rb_node_slot(node) + 1));
  }
}

// Node of a free slot, with the key copied in.
std::uint32_t slot_fill(qlix_comm_rb* tree, std::uint32_t slot, const void* key, node_t** node) {
  QLIX_COMM_CHECK_MUL(slot, tree->key_size);
  std::uint8_t* const place_of_key = tree->key_pool + std::size_t{slot} * tree->key_size;
  memcpy(place_of_key, key, tree->key_size);
  *node = &tree->node_pool[slot];
  (*node)->key = place_of_key;
  (*node)->slot_colour = slot << 2;
  return QLIX_COMM_OK;
}

void node_link(qlix_comm_rb* tree, const place& at, node_t* node) {
  node->left = nullptr;
  node->right = nullptr;
  node->parent = at.parent;
  heads_admit(tree, node->key);
  node->key_head = key_head(tree, node->key);
  rb_set_colour(node, QLIX_COMM_RB_RED);
  node->order.data = node;
  if (at.parent == nullptr) {
    tree->root = node;
    list_link(&tree->order, &node->order, nullptr, tree->order.first);
  } else if (at.right) {
    at.parent->right = node;
    list_link(&tree->order, &node->order, &at.parent->order, at.parent->order.next);
  } else {
    at.parent->left = node;
    list_link(&tree->order, &node->order, at.parent->order.prev, &at.parent->order);
  }
  qlix_comm_rb_handle_ins(tree, node);
}

// Puts `by` (may be null) into the link that points to `node`.
void link_replace(qlix_comm_rb* tree, node_t* node, node_t* by) {
  rb_link(tree, node) = by;
  if (by != nullptr) {
    by->parent = node->parent;
  }
}

// Takes `node` out of the tree: its successor takes its place, or, without a right child, its left child.
void node_unlink(qlix_comm_rb* tree, node_t* node, node_t* successor) {
  node_t* child;
  node_t* child_parent;
  std::uint32_t removed_colour;
  if (successor == nullptr) {
    child = node->left;
    child_parent = node->parent;
    removed_colour = rb_colour(node);
    link_replace(tree, node, child);
  } else {
    child = successor->right;
    child_parent = successor->parent == node ? successor : successor->parent;
    removed_colour = rb_colour(successor);
    link_replace(tree, successor, child);
    link_replace(tree, node, successor);
    successor->left = node->left;
    successor->right = node->right;
    for (node_t* const below : {successor->left, successor->right}) {
      if (below != nullptr) {
        below->parent = successor;
      }
    }
    rb_set_colour(successor, rb_colour(node));
  }
  list_unlink(&tree->order, &node->order);
  tree_search_forget(tree);
  if (removed_colour == QLIX_COMM_RB_BLACK) {
    qlix_comm_rb_handle_del(tree, child, child_parent);
  }
}

// An unlinked node of a dynamic tree goes back to its owner.
void node_clear(node_t* node) {
  node->slot_colour = 0;
  node->left = nullptr;
  node->right = nullptr;
  node->parent = nullptr;
}

std::uint32_t key_copy(const qlix_comm_rb* tree, const qlix_comm_double_link_node* from, void* key,
                       const char* function) {
  if (from == nullptr) {
    QLIX_COMM_TRACE_ERROR("\n %s: the tree is empty!\n", function);
    return QLIX_COMM_RB_EMPTY;
  }
  memcpy(key, static_cast<const node_t*>(from->data)->key, tree->key_size);
  return QLIX_COMM_OK;
}

}  // namespace

std::int32_t qlix_comm_rb_def_cmp(const void* key_a, const void* key_b, std::uint32_t key_size) {
  return memcmp(key_a, key_b, key_size);
}

std::uint32_t qlix_comm_rb_init(qlix_comm_rb* tree, std::uint32_t max, std::uint32_t key_size, qlix_comm_rb_cmp cmp) {
  QLIX_COMM_CHECK_POINT(tree);
  if (tree->inited == 1) {
    QLIX_COMM_PRINT("\n qlix_comm_rb_init already init!");
    return QLIX_COMM_OK;
  }
  QLIX_COMM_CHECK_INDEX_LOWER(key_size, 1);
  qlix_comm_rb created{};
  created.key_size = key_size;
  created.dynamic = max == 0;
  created.cmp = cmp != nullptr ? cmp : qlix_comm_rb_def_cmp;
  created.inited = 1;
  QLIX_COMM_CHECK_RC(qlix_comm_double_link_init(max != 0 ? max : UNLIMITED, &created.order),
                     "qlix_comm_double_link_init");
  if (max != 0) {
    QLIX_COMM_CHECK_RC(pool_init(&created, max), "pool_init");
  }
  *tree = created;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_rb_destroy(qlix_comm_rb* tree) {
  QLIX_COMM_CHECK_POINT(tree);
  tree_pool_destroy({tree->slot_stack, tree->key_pool, tree->node_pool});
  *tree = {};
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_rb_insert(qlix_comm_rb* tree, void* key_or_node, void* out) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key_or_node);
  QLIX_COMM_CHECK_POINT(out);
  const bool dynamic = tree->dynamic != 0;
  node_t* node = dynamic ? static_cast<node_t*>(key_or_node) : nullptr;
  const void* const key = dynamic ? node->key : key_or_node;
  QLIX_COMM_CHECK_POINT(key);
  const place at = insert_place(tree, key);
  if (at.existing != nullptr) {
    QLIX_COMM_TRACE_INFO("info ,rb_key is same \n");
    result_set(tree, at.existing, out);
    return QLIX_COMM_RB_KEY_EXISTS;
  }
  QLIX_COMM_CHECK_INDEX_UPPER(at.depth, DEPTH_MAX);
  if (dynamic) {
    node->slot_colour = 0;
  } else {
    std::uint32_t slot;
    const std::uint32_t code = qlix_comm_liststack_alloc(tree->slot_stack, &slot);
    QLIX_COMM_CHECK_RC(code == QLIX_COMM_LIST_STACK_EMPTY ? QLIX_COMM_RB_FULL : code, "qlix_comm_liststack_alloc");
    QLIX_COMM_CHECK_RC(slot_fill(tree, slot, key, &node), "slot_fill");
  }
  node_link(tree, at, node);
  result_set(tree, node, out);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_rb_insert_near(qlix_comm_rb* tree, const qlix_comm_rb_node* near, qlix_comm_rb_node* node,
                                       qlix_comm_rb_node** out) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(near);
  QLIX_COMM_CHECK_POINT(node);
  QLIX_COMM_CHECK_POINT(out);
  QLIX_COMM_CHECK_INDEX(tree->dynamic, 1, 1);
  const place at = near_place(tree, node->key, near);
  if (at.existing != nullptr) {
    *out = at.existing;
    return QLIX_COMM_RB_KEY_EXISTS;
  }
  node->slot_colour = 0;
  node_link(tree, at, node);
  *out = node;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_rb_insert_spec_index(qlix_comm_rb* tree, const void* key, std::uint32_t slot) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key);
  if (tree->dynamic != 0) {
    QLIX_COMM_TRACE_ERROR("qlix_comm_rb_insert_spec_index: dynamic mode is not support ! Error");
    return QLIX_COMM_RB_DYNAMIC;
  }
  const place at = insert_place(tree, key);
  if (at.existing != nullptr) {
    QLIX_COMM_TRACE_INFO("info ,rb_key is same \n");
    return QLIX_COMM_RB_KEY_EXISTS;
  }
  QLIX_COMM_CHECK_INDEX_UPPER(at.depth, DEPTH_MAX);
  QLIX_COMM_CHECK_RC(qlix_comm_liststack_alloc_spec_index(tree->slot_stack, slot),
                     "qlix_comm_liststack_alloc_spec_index");
  node_t* node = nullptr;
  QLIX_COMM_CHECK_RC(slot_fill(tree, slot, key, &node), "slot_fill");
  node_link(tree, at, node);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_rb_delete(qlix_comm_rb* tree, const void* key, void* out) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key);
  QLIX_COMM_CHECK_POINT(out);
  const place at = delete_place(tree, key);
  QLIX_COMM_CHECK_INDEX_UPPER(at.depth, DEPTH_MAX - 1);
  node_t* const node = at.existing;
  if (node == nullptr) {
    QLIX_COMM_TRACE_INFO("rb srh fail \n");
    return QLIX_COMM_RB_KEY_ABSENT;
  }
  QLIX_COMM_TRACE_DEBUG(" find the key!\n");
  neighbours_prefetch(tree, node);
  node_t* successor = node->right;
  for (std::uint32_t depth = at.depth + 1; successor != nullptr && successor->left != nullptr;
       successor = successor->left) {
    QLIX_COMM_CHECK_INDEX_UPPER(++depth, DEPTH_MAX);
  }
  node_unlink(tree, node, successor);
  result_set(tree, node, out);
  if (tree->dynamic != 0) {
    node_clear(node);
    return QLIX_COMM_OK;
  }
  const std::uint32_t slot = qlix_comm_rb_node_slot(node);
  memset(node->key, 0, tree->key_size);
  *node = {};
  QLIX_COMM_CHECK_RC(qlix_comm_liststack_free(tree->slot_stack, slot), "qlix_comm_liststack_free");
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_rb_delete_node(qlix_comm_rb* tree, qlix_comm_rb_node* node) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(node);
  QLIX_COMM_CHECK_INDEX(tree->dynamic, 1, 1);
  node_unlink(tree, node, node->right != nullptr ? record_of(node->order.next) : nullptr);
  node_clear(node);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_rb_search(const qlix_comm_rb* tree, const void* key, void* out) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key);
  QLIX_COMM_CHECK_POINT(out);
  node_t* const node = tree_search(tree, key, tree->key_size, [tree, key] { return node_find(tree, key); });
  if (node == nullptr) {
    QLIX_COMM_TRACE_INFO("rb srh fail \n");
    return QLIX_COMM_RB_KEY_ABSENT;
  }
  result_set(tree, node, out);
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_rb_is_none(const qlix_comm_rb* tree) {
  QLIX_COMM_CHECK_POINT(tree);
  return tree->root == nullptr ? 1 : 0;
}

std::uint32_t qlix_comm_rb_get_1st_tn(const qlix_comm_rb* tree, qlix_comm_double_link_node** node) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(node);
  *node = tree->order.first;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_rb_get_last_tn(const qlix_comm_rb* tree, qlix_comm_double_link_node** node) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(node);
  *node = tree->order.last;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_rb_get_1st_key(const qlix_comm_rb* tree, void* key) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key);
  return key_copy(tree, tree->order.first, key, __func__);
}

std::uint32_t qlix_comm_rb_get_last_key(const qlix_comm_rb* tree, void* key) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key);
  return key_copy(tree, tree->order.last, key, __func__);
}
