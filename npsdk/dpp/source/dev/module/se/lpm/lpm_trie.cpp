#include "dpp_lpm/lpm_trie.h"

#include <algorithm>

#include "dpp_lpm/lpm_algo.h"
#include "lpm_check.h"
#include "lpm_index.h"
#include "lpm_key.h"
#include "lpm_pool.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t COST_ONE = 1024;
/// Largest number of nodes on one path.
constexpr uint32_t STEPS_MAX = CHW_LPM_SWAP_MAX;

/// Levels of a trie whose routes lie near the root would be dominated by the floor of the chip's first stage.
constexpr uint32_t LEVEL_FLOOR = 18;
constexpr uint32_t LEVEL_SHALLOW = 14;
constexpr uint32_t LEVEL_MARGIN = 4;

lpm_key_case key_check(const lpm_key& key, uint32_t prefix_len, const uint8_t* node_key, uint32_t node_len,
                       uint32_t* split) {
  const auto node_bit = [node_key](uint32_t bit) { return (node_key[bit / 8] >> (7 - bit % 8)) & 1; };
  const uint32_t limit = std::min(prefix_len, node_len);
  const uint32_t common = lpm_common_bits(key, node_key, limit);
  if (common < limit) {
    *split = common;
    return node_bit(common) == 0 ? LPM_KEY_SPLIT_0 : LPM_KEY_SPLIT_1;
  }
  if (prefix_len == node_len) {
    return LPM_KEY_SAME;
  }
  if (node_len < prefix_len) {
    return lpm_key_bit(key, node_len) == 0 ? LPM_KEY_DESCEND_0 : LPM_KEY_DESCEND_1;
  }
  return node_bit(prefix_len) == 0 ? LPM_KEY_PARENT_0 : LPM_KEY_PARENT_1;
}

/// Where a walk stands: the slot it looks at, and its neighbours in the ordered list (nodes at which it last went to
/// child 1 and to child 0).
struct walk {
  lpm_trie_node* parent = nullptr;
  uint32_t side = 0;
  lpm_trie_node* before = nullptr;
  lpm_trie_node* after = nullptr;

  void descend(lpm_trie_node* node, uint32_t bit) {
    parent = node;
    side = bit;
    (bit == 0 ? after : before) = node;
  }
};

lpm_trie_node* node_create(lpm_trie* trie, const lpm_key& key, uint32_t prefix_len, bool valid) {
  lpm_trie_node* node = lpm_pool_take(&trie->pool);
  node->prefix_len = static_cast<uint16_t>(prefix_len);
  node->valid = valid ? 1 : 0;
  node->next_len = LPM_NO_ROUTE;
  lpm_key_store(key, prefix_len, node->key);
  if (valid) {
    node->sub_cnt = 1;
    node->len_sum = prefix_len;
  }
  return node;
}

void link_at(lpm_trie* trie, lpm_trie_node* parent, uint32_t side, lpm_trie_node* node) {
  (parent == nullptr ? trie->root : parent->child[side]) = node;
  node->parent = parent;
  lpm_index_link(trie, parent, node);
}

void add_below(lpm_trie_node* node, const lpm_trie_node* child) {
  node->sub_cnt += child->sub_cnt;
  node->len_sum += child->len_sum;
  node->next_len = std::min(node->next_len, lpm_shortest_len(child));
}

/// A subtree that hung at the walk's place is passed as a whole: what comes after it in order stands before `after`,
/// what comes before it stands behind `before`.
void list_put_after_subtree(lpm_trie* trie, const walk& at, lpm_trie_node* node) {
  LPM_ASSERT_RC(at.after == nullptr ? qlix_comm_double_link_insert_last(&node->link, &trie->list)
                                    : qlix_comm_double_link_insert_pre(&node->link, &at.after->link, &trie->list),
                "qlix_comm_double_link_insert_pre");
}

void list_put_before_subtree(lpm_trie* trie, const walk& at, lpm_trie_node* node) {
  LPM_ASSERT_RC(at.before == nullptr ? qlix_comm_double_link_insert_1st(&node->link, &trie->list)
                                     : qlix_comm_double_link_insert_aft(&node->link, &at.before->link, &trie->list),
                "qlix_comm_double_link_insert_aft");
}

lpm_trie_node* insert_leaf(lpm_trie* trie, const walk& at, const lpm_key& key, uint32_t prefix_len) {
  lpm_trie_node* node = node_create(trie, key, prefix_len, true);
  link_at(trie, at.parent, at.side, node);
  at.side == 0 ? list_put_after_subtree(trie, at, node) : list_put_before_subtree(trie, at, node);
  return node;
}

lpm_trie_node* insert_split(lpm_trie* trie, const walk& at, lpm_trie_node* old, const lpm_key& key, uint32_t prefix_len,
                            uint32_t split) {
  const uint32_t old_side = lpm_node_bit(old, split);
  lpm_trie_node* branch = node_create(trie, key, split, false);
  lpm_trie_node* node = node_create(trie, key, prefix_len, true);
  link_at(trie, at.parent, at.side, branch);
  link_at(trie, branch, old_side, old);
  link_at(trie, branch, 1 - old_side, node);
  add_below(branch, old);
  add_below(branch, node);
  // Both are put at the same neighbour, so the new node lands on the far side of the branch either way: old, branch,
  // new or new, branch, old.
  const auto put = old_side == 0 ? list_put_after_subtree : list_put_before_subtree;
  put(trie, at, branch);
  put(trie, at, node);
  return node;
}

lpm_trie_node* insert_parent(lpm_trie* trie, const walk& at, lpm_trie_node* old, const lpm_key& key,
                             uint32_t prefix_len) {
  const uint32_t old_side = lpm_node_bit(old, prefix_len);
  lpm_trie_node* node = node_create(trie, key, prefix_len, true);
  link_at(trie, at.parent, at.side, node);
  link_at(trie, node, old_side, old);
  add_below(node, old);
  old_side == 0 ? list_put_after_subtree(trie, at, node) : list_put_before_subtree(trie, at, node);
  return node;
}

/// Adds or takes back one route of `prefix_len` on every node above `node`.
void count_above(const lpm_trie_node* node, uint32_t prefix_len, bool add) {
  for (lpm_trie_node* above = node->parent; above != nullptr; above = above->parent) {
    above->sub_cnt += add ? 1 : -1u;
    above->len_sum += add ? prefix_len : 0u - prefix_len;
  }
}

void level_set(lpm_trie* trie, const lpm_trie_node* node) {
  chw_lpm* lpm = trie->lpm;
  if (lpm == nullptr) {
    return;
  }
  const bool out_mode = (lpm->flags & CHW_LPM_FLAG_OUT_MODE) != 0;
  const uint32_t average = static_cast<uint32_t>(trie->len_total / trie->route_num);
  const uint32_t estimate = std::min(average, chw_lpm_trie_path_cost(node, out_mode) / COST_ONE);
  if (out_mode) {
    lpm->level = std::max(estimate, LEVEL_FLOOR);
  } else {
    lpm->level = estimate < LEVEL_SHALLOW ? LEVEL_FLOOR : estimate + LEVEL_MARGIN;
  }
}

uint32_t insert_at(lpm_trie* trie, const lpm_key& key, uint32_t prefix_len, lpm_trie_node** out) {
  walk at;
  lpm_trie_node* node = trie->root;
  for (uint32_t step = 0; node != nullptr; step++) {
    uint32_t split = 0;
    switch (step < STEPS_MAX ? key_check(key, prefix_len, node->key, node->prefix_len, &split) : lpm_key_case{}) {
      case LPM_KEY_DESCEND_0:
      case LPM_KEY_DESCEND_1: {
        const uint32_t bit = lpm_key_bit(key, node->prefix_len);
        node->sub_cnt++;
        node->len_sum += prefix_len;
        node->next_len = std::min(node->next_len, static_cast<uint8_t>(prefix_len));
        at.descend(node, bit);
        node = node->child[bit];
        continue;
      }
      case LPM_KEY_SPLIT_0:
      case LPM_KEY_SPLIT_1:
        *out = insert_split(trie, at, node, key, prefix_len, split);
        return QLIX_COMM_OK;
      case LPM_KEY_PARENT_0:
      case LPM_KEY_PARENT_1:
        *out = insert_parent(trie, at, node, key, prefix_len);
        return QLIX_COMM_OK;
      case LPM_KEY_SAME:
        *out = node;
        if (node->valid != 0) {
          count_above(node, prefix_len, false);
          return LPM_RC_EXISTS;
        }
        node->valid = 1;
        node->sub_cnt++;
        node->len_sum += prefix_len;
        return QLIX_COMM_OK;
      default:
        return LPM_RC_INCONSISTENT;
    }
  }
  *out = insert_leaf(trie, at, key, prefix_len);
  return QLIX_COMM_OK;
}

/// The longest route above the start of a walk that found none. The nodes there are shorter than the start's stem, so
/// they cover the key; above the shortest route under `top` there is only `best`.
const lpm_trie_node* route_above(const lpm_start& start) {
  const uint32_t shortest = lpm_shortest_len(start.top);
  for (const lpm_trie_node* node = start.node->parent; node != nullptr && node->prefix_len >= shortest;
       node = node->parent) {
    if (node->valid != 0) {
      return node;
    }
  }
  return start.best;
}

uint32_t search_longest(const lpm_trie* trie, const lpm_key& key, uint32_t prefix_len, lpm_trie_node** out) {
  lpm_start start = {trie->root, nullptr, nullptr, prefix_len + 1};
  if (trie->index != nullptr && prefix_len >= LPM_INDEX_BITS) {
    start = lpm_index_find(trie, key, prefix_len);
  }
  const lpm_trie_node* best = nullptr;
  for (const lpm_trie_node* node = start.node;
       node != nullptr && node->prefix_len < start.limit && lpm_node_covers(node, key);
       node = node->child[lpm_key_bit(key, node->prefix_len)]) {
    best = node->valid != 0 ? node : best;
    if (node->next_len >= start.limit) {
      break;
    }
  }
  if (best == nullptr) {
    best = start.node != nullptr && start.top != nullptr ? route_above(start) : start.best;
  }
  if (best == nullptr) {
    QLIX_COMM_TRACE_INFO("\n INFO[0x%x] Srh Fail", LPM_RC_NOT_FOUND);
    return LPM_RC_NOT_FOUND;
  }
  *out = const_cast<lpm_trie_node*>(best);
  return QLIX_COMM_OK;
}

/// A branch node of this length is handed out by an exact search although it is no route.
constexpr uint32_t SRH_BRANCH_LEN = 16;

uint32_t search_exact(lpm_trie* trie, const lpm_key& key, uint32_t prefix_len, lpm_trie_node** out, bool for_delete) {
  lpm_trie_node* node = trie->root;
  while (node != nullptr && node->prefix_len < prefix_len && lpm_node_covers(node, key)) {
    node = node->child[lpm_key_bit(key, node->prefix_len)];
  }
  const bool hit = node != nullptr && node->prefix_len == prefix_len && lpm_node_covers(node, key);
  if (!hit || node->valid == 0) {
    if (hit && prefix_len == SRH_BRANCH_LEN) {
      *out = node;
    }
    QLIX_COMM_TRACE_ERROR("Error Srh Fail\n");
    return LPM_RC_NOT_FOUND;
  }
  if (for_delete) {
    node->sub_cnt--;
    node->len_sum -= prefix_len;
    count_above(node, prefix_len, false);
    trie->route_num--;
    trie->len_total -= prefix_len;
  }
  *out = node;
  return QLIX_COMM_OK;
}

/// Takes a node with at most one child out; the child takes its place.
void unlink_node(lpm_trie* trie, lpm_trie_node* node, lpm_released* released) {
  lpm_trie_node* parent = node->parent;
  lpm_trie_node* heir = node->child[0] != nullptr ? node->child[0] : node->child[1];
  const uint32_t side = parent != nullptr && parent->child[1] == node ? 1 : 0;
  if (heir != nullptr) {
    link_at(trie, parent, side, heir);
  } else {
    (parent == nullptr ? trie->root : parent->child[side]) = nullptr;
    lpm_index_vacate(trie, parent, node);
  }
  LPM_ASSERT_RC(qlix_comm_double_link_del(&node->link, &trie->list), "qlix_comm_double_link_del");
  released->node[released->num++] = node;
}

/// A route of `prefix_len` bits below `node` is gone: corrects next_len as far up as that route was the shortest.
void next_len_restore(lpm_trie_node* node, uint32_t prefix_len) {
  for (; node != nullptr && node->next_len == prefix_len; node = node->parent) {
    node->next_len = LPM_NO_ROUTE;
    for (const lpm_trie_node* child : node->child) {
      node->next_len = child == nullptr ? node->next_len : std::min(node->next_len, lpm_shortest_len(child));
    }
    if (node->next_len == prefix_len) {
      return;
    }
  }
}

}  // namespace

uint32_t chw_lpm_trie_init(lpm_trie* trie, uint32_t key_bytes) {
  LPM_ASSERT_POINT(trie);
  QLIX_COMM_CHECK_INDEX(key_bytes, 1, LPM_KEY_BYTES_MAX);
  *trie = {};
  trie->key_size = key_bytes;
  LPM_ASSERT_RC(qlix_comm_double_link_init(UINT32_MAX, &trie->list), "qlix_comm_double_link_init");
  return QLIX_COMM_OK;
}

void chw_lpm_trie_destroy(lpm_trie* trie) {
  LPM_ASSERT_POINT(trie);
  lpm_index_drop(trie);
  lpm_pool_release(&trie->pool);
  *trie = {};
}

lpm_key_case chw_lpm_trie_key_check(const uint8_t* key, uint32_t prefix_len, const uint8_t* node_key, uint32_t node_len,
                                    uint32_t* split) {
  LPM_ASSERT_POINT(key);
  LPM_ASSERT_POINT(node_key);
  uint8_t padded[sizeof(lpm_key)];
  lpm_key_store(lpm_key_load(node_key, node_len), node_len, padded);
  uint32_t unused;
  return key_check(lpm_key_load(key, prefix_len), prefix_len, padded, node_len, split != nullptr ? split : &unused);
}

uint32_t chw_lpm_trie_reserve(lpm_trie* trie) {
  LPM_ASSERT_POINT(trie);
  constexpr uint32_t NODES_OF_AN_INSERT = 2;
  return lpm_pool_reserve(&trie->pool, NODES_OF_AN_INSERT) ? QLIX_COMM_OK : QLIX_COMM_POINT_NULL;
}

uint32_t chw_lpm_trie_insert(lpm_trie* trie, const uint8_t* key, uint32_t prefix_len, lpm_trie_node** node) {
  LPM_ASSERT_POINT(trie);
  LPM_ASSERT_POINT(key);
  LPM_ASSERT_POINT(node);
  QLIX_COMM_CHECK_INDEX(prefix_len, 0, trie->key_size * 8);
  if (const uint32_t reserved = chw_lpm_trie_reserve(trie); reserved != QLIX_COMM_OK) {
    return reserved;
  }
  const lpm_key words = lpm_key_load(key, prefix_len);
  lpm_index_fetch(trie, words);
  const uint32_t code = insert_at(trie, words, prefix_len, node);
  if (code == QLIX_COMM_OK) {
    trie->route_num++;
    trie->len_total += prefix_len;
    lpm_index_route_add(trie, *node);
    lpm_index_grow(trie);
  }
  if (code != LPM_RC_INCONSISTENT) {
    level_set(trie, *node);
  }
  return code;
}

uint32_t chw_lpm_trie_srh(lpm_trie* trie, const uint8_t* key, uint32_t prefix_len, uint32_t mode, lpm_trie_node** node,
                          bool for_delete) {
  LPM_ASSERT_POINT(trie);
  LPM_ASSERT_POINT(key);
  LPM_ASSERT_POINT(node);
  QLIX_COMM_CHECK_INDEX(prefix_len, 0, trie->key_size * 8);
  switch (mode) {
    case LPM_SRH_LONGEST:
      return search_longest(trie, lpm_key_load(key, prefix_len), prefix_len, node);
    case LPM_SRH_EXACT:
      return search_exact(trie, lpm_key_load(key, prefix_len), prefix_len, node, for_delete);
    default:
      return LPM_RC_INCONSISTENT;
  }
}

void chw_lpm_trie_remove_tn(lpm_trie* trie, lpm_trie_node* node, lpm_released* released) {
  LPM_ASSERT_POINT(trie);
  LPM_ASSERT_POINT(node);
  LPM_ASSERT_POINT(released);
  *released = {};
  node->valid = 0;
  lpm_index_route_remove(trie, node);
  lpm_trie_node* parent = node->parent;
  if (node->child[0] == nullptr || node->child[1] == nullptr) {
    unlink_node(trie, node, released);
    if (parent != nullptr && parent->valid == 0 && (parent->child[0] == nullptr || parent->child[1] == nullptr)) {
      unlink_node(trie, parent, released);
      parent = parent->parent;
    }
  }
  next_len_restore(parent, node->prefix_len);
}

uint32_t chw_lpm_trie_delete(lpm_trie* trie, const uint8_t* key, uint32_t prefix_len, lpm_released* released) {
  LPM_ASSERT_POINT(released);
  *released = {};
  lpm_trie_node* node = nullptr;
  const uint32_t code = chw_lpm_trie_srh(trie, key, prefix_len, LPM_SRH_EXACT, &node, true);
  if (code == QLIX_COMM_OK) {
    chw_lpm_trie_remove_tn(trie, node, released);
  }
  return code;
}

void chw_lpm_trie_free_tn(lpm_trie* trie, const lpm_released& released) {
  LPM_ASSERT_POINT(trie);
  for (uint32_t i = 0; i < released.num; i++) {
    lpm_pool_give(&trie->pool, released.node[i]);
  }
  if (trie->root == nullptr) {
    lpm_index_drop(trie);
    lpm_pool_release(&trie->pool);
  }
}
