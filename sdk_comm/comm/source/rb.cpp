#include "qlix_comm/rb.h"

#include <cstring>

#include "double_link_ops.h"
#include "qlix_comm/check.h"
#include "rb_balance.h"
#include "tree_head.h"
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

// Asks for what a step down reads of a node.
constexpr auto STEP_PREFETCH = [](const node_t* node) {
  tree_prefetch(reinterpret_cast<std::uintptr_t>(node) + offsetof(node_t, key_head));
  tree_prefetch(reinterpret_cast<std::uintptr_t>(node) + offsetof(node_t, right));
};

node_t* node_find(const qlix_comm_rb* tree, const void* key) {
  return tree_head_descend(tree, key, tree_look<node_t>{}, STEP_PREFETCH).existing;
}

void result_set(const qlix_comm_rb* tree, node_t* node, qlix_comm_rb_out out) {
  out.set(tree->dynamic != 0, qlix_comm_rb_node_slot(node), node);
}

// Where a key is, or goes: `existing` has it, or it goes below `parent` (null: it becomes the root).
struct place {
  node_t* existing = nullptr;
  node_t* parent = nullptr;
  bool right = false;
  std::uint32_t depth = 0;
};

// The walk to a place. It is written down on the way: kept in registers it is slower.
struct place_walk {
  place* at;
  node_t* existing = nullptr;

  bool step(node_t* node, bool to_right) const {
    at->parent = node;
    at->right = to_right;
    return ++at->depth <= DEPTH_MAX;
  }
};

void place_descend(const qlix_comm_rb* tree, const void* key, place& at) {
  at.existing = tree_head_descend(tree, key, place_walk{&at}, STEP_PREFETCH).existing;
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
  tree_head_admit(tree, node);
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

std::uint32_t qlix_comm_rb_insert(qlix_comm_rb* tree, void* key_or_node, qlix_comm_rb_out out) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key_or_node);
  QLIX_COMM_CHECK_POINT(out.place(tree->dynamic != 0));
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

std::uint32_t qlix_comm_rb_delete(qlix_comm_rb* tree, const void* key, qlix_comm_rb_out out) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key);
  QLIX_COMM_CHECK_POINT(out.place(tree->dynamic != 0));
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

std::uint32_t qlix_comm_rb_search(const qlix_comm_rb* tree, const void* key, qlix_comm_rb_out out) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key);
  QLIX_COMM_CHECK_POINT(out.place(tree->dynamic != 0));
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
