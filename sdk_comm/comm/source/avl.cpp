#include "qlix_comm/avl.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "double_link_ops.h"
#include "qlix_comm/check.h"
#include "tree_head.h"
#include "tree_pool.h"

using namespace qlix_comm_detail;

namespace {

using node_t = qlix_comm_avl_node;

constexpr std::uint32_t UNLIMITED = 0xFFFFFFFF;
constexpr std::uint32_t PATH_MAX_LINKS = QLIX_COMM_AVL_DEPTH_MAX;

static_assert(offsetof(node_t, key) == 0, "callers hand a node over as one that begins with its key pointer");
static_assert(sizeof(node_t) == 56);

std::uint32_t pool_init(qlix_comm_avl* tree) {
  tree_pool pool;
  QLIX_COMM_CHECK_RC(tree_pool_create(tree->max_node, tree->key_len, sizeof(node_t), &pool), "tree_pool_create");
  tree->slot_stack = pool.slot_stack;
  tree->key_pool = pool.key_pool;
  tree->node_pool = static_cast<node_t*>(pool.node_pool);
  return QLIX_COMM_OK;
}

// Walks down to `key`; `walk` as in tree_descend.
template <class Walk>
Walk descend(const qlix_comm_avl* tree, const void* key, Walk walk) {
  // All of a node is asked for: what comes in or leaves also looks at the nodes beside its way and at the order list.
  return tree_head_descend(tree, key, walk, [](const node_t* child) { record_prefetch(child, sizeof *child); });
}

node_t* node_find(const qlix_comm_avl* tree, const void* key) {
  return descend(tree, key, tree_look<node_t>{}).existing;
}

// A walk to a key that notes down the links on its path: the first is the root's, the last one points to the node or is
// where it will hang. A walk that the path cannot hold ends with depth PATH_MAX_LINKS.
struct trail {
  node_t*** links;
  node_t* existing = nullptr;
  std::uint32_t depth = 0;   // links before the last
  std::uint64_t rights = 0;  // the steps, the last one in bit 0: 1 for one to the right

  trail(qlix_comm_avl* tree, node_t** (&path)[PATH_MAX_LINKS]) : links(path) {
    links[0] = &tree->root;
  }

  bool step(node_t* node, bool to_right) {
    if (++depth == PATH_MAX_LINKS) {
      return false;
    }
    rights = rights << 1 | static_cast<std::uint64_t>(to_right);
    links[depth] = tree_select(to_right, &node->left, &node->right);
    return true;
  }

  // The last node that was left to the right or to the left: what stands before or behind the end of the path.
  qlix_comm_double_link_node* neighbour(bool right) const {
    const auto back = static_cast<std::uint32_t>(std::countr_zero(right ? rights : ~rights));
    return back < depth ? &(*links[depth - 1 - back])->order : nullptr;
  }
};

bool edge_compare(const qlix_comm_avl* tree, const void* key, const qlix_comm_double_link_node* edge,
                  std::int32_t expected) {
  return edge != nullptr &&
         tree_key_order(key, tree->key_len, tree->cmp, static_cast<const node_t*>(edge->data)->key) == expected;
}

// Walk to a key to remove. Keys that leave in ascending order are reached down the left edge without comparisons.
void trail_remove(const qlix_comm_avl* tree, const void* key, trail& found) {
  if (edge_compare(tree, key, tree->order.first, 0)) {
    found.existing = static_cast<node_t*>(tree->order.first->data);
    for (node_t* node = tree->root; node != found.existing && found.step(node, false);) {
      node = node->left;
    }
  } else {
    found = descend(tree, key, found);
  }
}

std::int32_t height(const node_t* node) {
  return node != nullptr ? node->height : 0;
}

void height_update(node_t* node) {
  node->height = std::max(height(node->left), height(node->right)) + 1;
}

void rotate_right(node_t*& link) {
  node_t* const top = link;
  link = top->left;
  top->left = link->right;
  link->right = top;
  height_update(top);
  height_update(link);
}

void rotate_left(node_t*& link) {
  node_t* const top = link;
  link = top->right;
  top->right = link->left;
  link->left = top;
  height_update(top);
  height_update(link);
}

// Balances the nodes that the links before the last one point to, from the deepest up, as long as heights change.
void rebalance(const trail& trail) {
  for (std::uint32_t depth = trail.depth; depth-- > 0;) {
    node_t*& link = *trail.links[depth];
    node_t* const node = link;
    const std::int32_t before = node->height;
    const std::int32_t left = height(node->left);
    const std::int32_t right = height(node->right);
    if (left > right + 1) {
      if (height(node->left->right) > height(node->left->left)) {
        rotate_left(node->left);
      }
      rotate_right(link);
    } else if (right > left + 1) {
      if (height(node->right->left) > height(node->right->right)) {
        rotate_right(node->right);
      }
      rotate_left(link);
    } else {
      node->height = std::max(left, right) + 1;
    }
    if (link->height == before) {
      return;
    }
  }
}

// Turns the node at links[depth] of a path, whose subtree became too high below links[depth + 2], back to the height it
// had. That gives every height without a look at the other subtrees, which are not in the cache.
void grown_turn(const trail& trail, std::uint32_t depth) {
  node_t*& link = *trail.links[depth];
  node_t* const node = link;
  const bool to_right = trail.links[depth + 1] == &node->right;
  node_t* const child = to_right ? node->right : node->left;
  if ((trail.links[depth + 2] == &child->right) != to_right) {
    node_t* const inner = to_right ? child->left : child->right;
    (to_right ? child->left : child->right) = to_right ? inner->right : inner->left;
    (to_right ? inner->right : inner->left) = child;
    (to_right ? node->right : node->left) = to_right ? inner->left : inner->right;
    (to_right ? inner->left : inner->right) = node;
    inner->height = node->height;
    --child->height;
    link = inner;
  } else {
    (to_right ? node->right : node->left) = to_right ? child->left : child->right;
    (to_right ? child->left : child->right) = node;
    link = child;
  }
  --node->height;
}

// Balances the nodes above a new leaf at the end of the path, as long as heights change.
void grow(const trail& trail) {
  std::int32_t grown = 1;  // height of the subtree below
  for (std::uint32_t depth = trail.depth; depth-- > 0; ++grown) {
    node_t* const node = *trail.links[depth];
    if (node->height > grown) {
      return;
    }
    const node_t* const other = trail.links[depth + 1] == &node->right ? node->left : node->right;
    // The other subtree is one or two levels lower.
    if (grown > 1 && (other == nullptr || (grown > 2 && other->height < grown - 1))) {
      grown_turn(trail, depth);
      return;
    }
    node->height = grown + 1;
  }
}

// Asks for what the removal of a node will touch, all at once. The one before in order is also the predecessor that may
// take its place.
void neighbours_prefetch(const qlix_comm_avl* tree, const node_t* node) {
  for (const auto* const link : {node->order.prev, node->order.next}) {
    tree_prefetch(reinterpret_cast<std::uintptr_t>(link));
  }
  tree_prefetch(reinterpret_cast<std::uintptr_t>(node->order.prev) - offsetof(node_t, order));
  if (tree->dynamic == 0) {
    tree_prefetch(
        reinterpret_cast<std::uintptr_t>(tree->slot_stack->entries + qlix_comm_avl_node_slot(tree, node) + 1));
  }
}

// The nodes of the right edge, for keys that come in ascending order. They are kept as long as nothing else changes the
// tree: going down to them costs more than all the rest, their addresses being such that they drive each other out of
// the cache.
void edge_learn(qlix_comm_avl* tree) {
  if (tree->notes.edge_num == 0) {
    for (node_t* node = tree->root; node != nullptr && tree->notes.edge_num < PATH_MAX_LINKS; node = node->right) {
      tree->notes.edge[tree->notes.edge_num++] = node;
    }
  }
}

node_t*& edge_link(qlix_comm_avl* tree, std::uint32_t depth) {
  return depth == 0 ? tree->root : tree->notes.edge[depth - 1]->right;
}

// Makes a node ready to come into the tree.
void leaf_make(qlix_comm_avl* tree, node_t* node) {
  node->left = nullptr;
  node->right = nullptr;
  node->height = 1;
  node->order.data = node;
  tree_head_admit(tree, node);
}

// Hangs a node behind the last one. What becomes too high on the edge is so to the right of its right child, and one
// turn to the left restores its height.
void edge_append(qlix_comm_avl* tree, node_t* node) {
  leaf_make(tree, node);
  list_link(&tree->order, &node->order, tree->order.last, nullptr);
  ++tree->node_num;
  edge_link(tree, tree->notes.edge_num) = node;
  tree->notes.edge[tree->notes.edge_num++] = node;
  for (std::uint32_t depth = tree->notes.edge_num - 1; depth-- > 0;) {
    node_t* const top = tree->notes.edge[depth];
    const std::int32_t right = top->right->height;
    if (right > height(top->left) + 1) {
      rotate_left(edge_link(tree, depth));
      std::copy(tree->notes.edge + depth + 1, tree->notes.edge + tree->notes.edge_num, tree->notes.edge + depth);
      --tree->notes.edge_num;
      return;
    }
    if (top->height > right) {
      return;
    }
    top->height = right + 1;
  }
}

// A free slot's node with the key copied in; a full tree writes QLIX_COMM_AVL_NO_SLOT to `*slot`.
std::uint32_t slot_fill(qlix_comm_avl* tree, const void* key, node_t** node, std::uint32_t* slot) {
  const std::uint32_t code = qlix_comm_liststack_alloc(tree->slot_stack, slot);
  if (code == QLIX_COMM_LIST_STACK_EMPTY) {
    *slot = QLIX_COMM_AVL_NO_SLOT;
    return QLIX_COMM_AVL_FULL;
  }
  QLIX_COMM_CHECK_RC(code, "qlix_comm_liststack_alloc");
  QLIX_COMM_CHECK_MUL(*slot, tree->key_len);
  const std::uint64_t key_begin = std::uint64_t{*slot} * tree->key_len;
  if (key_begin + tree->key_len > std::uint64_t{tree->max_node} * tree->key_len) {
    qlix_comm_liststack_free(tree->slot_stack, *slot);
    return QLIX_COMM_AVL_KEY_POOL;
  }
  *node = &tree->node_pool[*slot];
  (*node)->key = memcpy(tree->key_pool + key_begin, key, tree->key_len);
  return QLIX_COMM_OK;
}

void node_link(qlix_comm_avl* tree, const trail& at, node_t* node) {
  leaf_make(tree, node);
  list_link(&tree->order, &node->order, at.neighbour(true), at.neighbour(false));
  *at.links[at.depth] = node;
  ++tree->node_num;
  tree->notes.edge_num = 0;
  grow(at);
}

// Takes the node at the end of the path out: its predecessor takes its place, or, without a left child, its right
// child.
std::uint32_t node_unlink(qlix_comm_avl* tree, trail& trail) {
  node_t** const place = trail.links[trail.depth];
  node_t* const node = *place;
  if (node->left == nullptr) {
    *place = node->right;
  } else {
    const std::uint32_t below = trail.depth + 1;
    std::uint32_t depth = trail.depth;
    for (node_t** link = &node->left; *link != nullptr; link = &(*link)->right) {
      QLIX_COMM_CHECK_INDEX_UPPER(++depth, PATH_MAX_LINKS - 1);
      trail.links[depth] = link;
    }
    trail.depth = depth;
    node_t* const predecessor = *trail.links[depth];
    *trail.links[depth] = predecessor->left;
    predecessor->left = node->left;
    predecessor->right = node->right;
    predecessor->height = node->height;
    *place = predecessor;
    trail.links[below] = &predecessor->left;
  }
  --tree->node_num;
  tree->notes.edge_num = 0;
  tree_search_forget(tree);
  list_unlink(&tree->order, &node->order);
  rebalance(trail);
  return QLIX_COMM_OK;
}

node_t* node_search(const qlix_comm_avl* tree, const void* key) {
  return tree_search(tree, key, tree->key_len, [tree, key] { return node_find(tree, key); });
}

// A node that is null stands for a key that is absent.
void result_set(const qlix_comm_avl* tree, node_t* node, qlix_comm_avl_out out) {
  out.set(tree->dynamic != 0, node != nullptr ? qlix_comm_avl_node_slot(tree, node) : QLIX_COMM_AVL_NO_SLOT, node);
}

std::uint32_t key_copy(const qlix_comm_avl* tree, const qlix_comm_double_link_node* from, void* key,
                       const char* function) {
  if (from == nullptr) {
    QLIX_COMM_TRACE_ERROR("\n %s: the tree is empty!\n", function);
    return QLIX_COMM_AVL_EMPTY;
  }
  memcpy(key, static_cast<const node_t*>(from->data)->key, tree->key_len);
  return QLIX_COMM_OK;
}

void key_show(const qlix_comm_avl* tree, const qlix_comm_double_link_node* from) {
  std::uint32_t number = 0;
  memcpy(&number, static_cast<const node_t*>(from->data)->key, std::min<std::size_t>(tree->key_len, sizeof number));
  QLIX_COMM_PRINT("==>%d", number);
}

}  // namespace

std::uint32_t qlix_comm_avl_init(qlix_comm_avl* tree, std::uint32_t max_node, std::uint32_t key_len,
                                 qlix_comm_avl_cmp cmp) {
  QLIX_COMM_CHECK_POINT(tree);
  if (tree->inited == 1) {
    QLIX_COMM_PRINT("\nqlix_comm_avl_init already init!");
    return QLIX_COMM_OK;
  }
  if (key_len == 0) {
    QLIX_COMM_TRACE_ERROR("\nErrorCode:[0x%x]qlix_comm_avl_init key_length is 0 err!", QLIX_COMM_AVL_KEY_LEN_ZERO);
    return QLIX_COMM_AVL_KEY_LEN_ZERO;
  }
  qlix_comm_avl created{};
  created.key_len = key_len;
  created.max_node = max_node;
  created.dynamic = max_node == 0;
  created.cmp = cmp != nullptr ? cmp : qlix_comm_rb_def_cmp;
  created.inited = 1;
  QLIX_COMM_CHECK_RC(qlix_comm_double_link_init(max_node != 0 ? max_node : UNLIMITED, &created.order),
                     "qlix_comm_double_link_init");
  if (max_node != 0) {
    QLIX_COMM_CHECK_RC(pool_init(&created), "pool_init");
  }
  *tree = created;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_avl_destroy(qlix_comm_avl* tree) {
  QLIX_COMM_CHECK_POINT(tree);
  tree_pool_destroy({tree->slot_stack, tree->key_pool, tree->node_pool});
  *tree = {};
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_avl_insert(qlix_comm_avl* tree, void* key_or_node, std::uint32_t* out) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key_or_node);
  const bool dynamic = tree->dynamic != 0;
  node_t* node = dynamic ? static_cast<node_t*>(key_or_node) : nullptr;
  const void* const key = dynamic ? node->key : key_or_node;
  QLIX_COMM_CHECK_POINT(key);
  if (!dynamic) {
    QLIX_COMM_CHECK_POINT(out);
  }
  node_t** path[PATH_MAX_LINKS];
  trail at(tree, path);
  const bool append = edge_compare(tree, key, tree->order.last, 1);
  if (append) {
    edge_learn(tree);
    at.depth = tree->notes.edge_num;
  } else {
    at = descend(tree, key, at);
  }
  if (at.existing != nullptr) {
    QLIX_COMM_TRACE_INFO("\n qlix_comm_avl_insert: the key is there already \n");
    if (out != nullptr) {
      *out = dynamic ? 0 : qlix_comm_avl_node_slot(tree, at.existing);
    }
    return QLIX_COMM_AVL_KEY_EXISTS;
  }
  QLIX_COMM_CHECK_INDEX_UPPER(at.depth, PATH_MAX_LINKS - 1);
  if (!dynamic) {
    QLIX_COMM_CHECK_RC(slot_fill(tree, key, &node, out), "qlix_comm_liststack_alloc");
  }
  if (append) {
    edge_append(tree, node);
  } else {
    node_link(tree, at, node);
  }
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_avl_remove(qlix_comm_avl* tree, const void* key, qlix_comm_avl_out out) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key);
  QLIX_COMM_CHECK_POINT(out.place(tree->dynamic != 0));
  node_t** path[PATH_MAX_LINKS];
  trail at(tree, path);
  trail_remove(tree, key, at);
  node_t* const node = at.existing;
  if (node == nullptr) {
    QLIX_COMM_TRACE_INFO("\nqlix_comm_avl_remove: node to delete not found in tree");
    result_set(tree, nullptr, out);
    return QLIX_COMM_OK;
  }
  neighbours_prefetch(tree, node);
  QLIX_COMM_CHECK_RC(node_unlink(tree, at), "node_unlink");
  result_set(tree, node, out);
  node->left = nullptr;
  node->right = nullptr;
  node->height = 0;
  if (tree->dynamic == 0) {
    memset(node->key, 0, tree->key_len);
    QLIX_COMM_CHECK_RC(qlix_comm_liststack_free(tree->slot_stack, qlix_comm_avl_node_slot(tree, node)),
                       "qlix_comm_liststack_free");
  }
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_avl_find(const qlix_comm_avl* tree, const void* key, qlix_comm_avl_out out) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key);
  QLIX_COMM_CHECK_POINT(out.place(tree->dynamic != 0));
  result_set(tree, node_search(tree, key), out);
  return QLIX_COMM_OK;
}

qlix_comm_avl_node* qlix_comm_avl_node_find(const qlix_comm_avl* tree, const void* key) {
  if (tree == nullptr || key == nullptr) {
    static_cast<void>(qlix_comm_detail::report_null(QLIX_COMM_HERE));
    return nullptr;
  }
  return node_search(tree, key);
}

std::uint32_t ic_comm_avl_get_node_num(const qlix_comm_avl* tree, std::uint32_t* num) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(num);
  *num = tree->node_num;
  return QLIX_COMM_OK;
}

std::uint32_t ic_comm_avl_is_none(const qlix_comm_avl* tree) {
  QLIX_COMM_CHECK_POINT(tree);
  return tree->node_num == 0 ? 1 : 0;
}

std::uint32_t ic_comm_avl_get_1st_key(const qlix_comm_avl* tree, void* key) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key);
  return key_copy(tree, tree->order.first, key, __func__);
}

std::uint32_t ic_comm_avl_get_last_key(const qlix_comm_avl* tree, void* key) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(key);
  return key_copy(tree, tree->order.last, key, __func__);
}

std::uint32_t ic_comm_avl_get_1st_node(const qlix_comm_avl* tree, qlix_comm_double_link_node** node) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(node);
  *node = tree->order.first;
  return QLIX_COMM_OK;
}

std::uint32_t ic_comm_avl_get_last_node(const qlix_comm_avl* tree, qlix_comm_double_link_node** node) {
  QLIX_COMM_CHECK_POINT(tree);
  QLIX_COMM_CHECK_POINT(node);
  *node = tree->order.last;
  return QLIX_COMM_OK;
}

std::uint32_t qlix_comm_avl_show_info(const qlix_comm_avl* tree) {
  QLIX_COMM_CHECK_POINT(tree);
  if (tree->node_num == 0) {
    QLIX_COMM_PRINT("The avl tree is empty!!\n");
    return QLIX_COMM_OK;
  }
  QLIX_COMM_PRINT("\n****************avl tree info from first key***********\n");
  for (const auto* node = tree->order.first; node != nullptr; node = node->next) {
    key_show(tree, node);
  }
  QLIX_COMM_PRINT("\n****************avl tree info from last key***********\n");
  for (const auto* node = tree->order.last; node != nullptr; node = node->prev) {
    key_show(tree, node);
  }
  return QLIX_COMM_OK;
}
