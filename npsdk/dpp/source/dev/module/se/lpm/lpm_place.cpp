#include "lpm_place.h"

#include "lpm_check.h"
#include "lpm_key.h"
#include "qlix_comm/memory.h"
#include "qlix_comm/print.h"

namespace {

/// Adds `moved` in front of the list.
uint32_t chw_lpm_swaplist_add(chw_lpm* lpm, lpm_trie_node* moved) {
  auto* record = static_cast<qlix_comm_double_link_node*>(ic_comm_malloc_memory(sizeof(qlix_comm_double_link_node)));
  QLIX_COMM_CHECK_POINT(record);
  *record = {};
  record->data = moved;
  const uint32_t code = qlix_comm_double_link_insert_1st(record, &lpm->swap_list);
  if (code != QLIX_COMM_OK) {
    ic_comm_free_memory(record);
  }
  return code;
}

void chw_lpm_free_swaplist(chw_lpm* lpm) {
  LPM_ASSERT_RC(qlix_comm_dlink_release(&lpm->swap_list, nullptr), "qlix_comm_dlink_release");
}

uint32_t move_item(chw_lpm* lpm, lpm_trie_node* from, lpm_trie_node* to) {
  void* item = from->item_info;
  const uint32_t code = lpm->callbacks.cb_swap_copy(lpm, from, to);
  if (code == QLIX_COMM_OK) {
    to->item_info = item;
  }
  return code;
}

/// Gives `node` the place of another node, which becomes `*moved` and needs a new one.
uint32_t chw_lpm_swap(chw_lpm* lpm, lpm_trie_node* node, lpm_trie_node** moved) {
  lpm_trie_node* out = nullptr;
  QLIX_COMM_CHECK_RC(lpm->callbacks.cb_get_swap_out(lpm, node, &out, 0), "cb_get_swap_out");
  LPM_ASSERT_POINT(out);
  QLIX_COMM_CALL(chw_lpm_swaplist_add, lpm, out);
  const uint32_t code = move_item(lpm, out, node);
  if (code != QLIX_COMM_OK) {
    // Nothing moved: the record must not be rolled back.
    qlix_comm_double_link_node* record = lpm->swap_list.first;
    LPM_ASSERT_RC(qlix_comm_double_link_del(record, &lpm->swap_list), "qlix_comm_double_link_del");
    ic_comm_free_memory(record);
    QLIX_COMM_CHECK_RC(code, "fun_swap_cpy");
  }
  *moved = out;
  return QLIX_COMM_OK;
}

enum class walk_end { placed, at_node };

/// Offers the route of `node` to every place on its path, itself included.
uint32_t walk_path(chw_lpm* lpm, lpm_trie_node* node, walk_end* end) {
  const chw_lpm_callbacks& callbacks = lpm->callbacks;
  *end = walk_end::placed;
  for (lpm_trie_node* at = lpm->trie.root;; at = at->child[lpm_node_bit(node, at->prefix_len)]) {
    LPM_ASSERT_POINT(at);
    if (at->item_info != nullptr) {
      if (callbacks.cb_compare(lpm, at->item_info, node) == CHW_LPM_MAY_TAKE) {
        return callbacks.cb_take_over(lpm, at, node);
      }
    } else if (at->prefix_len > lpm->level) {
      return callbacks.cb_place(lpm, at, node, lpm->level);
    }
    if (at == node) {
      *end = walk_end::at_node;
      return QLIX_COMM_OK;
    }
  }
}

uint32_t place_or_swap(chw_lpm* lpm, lpm_trie_node* node) {
  // Every swap makes a place for one node and leaves another without; the swap list bounds them.
  while (true) {
    walk_end end;
    const uint32_t code = walk_path(lpm, node, &end);
    if (code != QLIX_COMM_OK || end == walk_end::placed) {
      return code;
    }
    if (node->item_info == nullptr) {
      return lpm->callbacks.cb_place(lpm, node, node, lpm->level);
    }
    QLIX_COMM_CALL(chw_lpm_swap, lpm, node, &node);
  }
}

void chw_lpm_insert_fail_rollback(chw_lpm* lpm, lpm_trie_node* new_node) {
  lpm_trie_node* holder = nullptr;
  for (qlix_comm_double_link_node* record = lpm->swap_list.first; record != nullptr; record = record->next) {
    auto* moved = static_cast<lpm_trie_node*>(record->data);
    holder = record->next != nullptr ? static_cast<lpm_trie_node*>(record->next->data) : new_node;
    LPM_ASSERT_RC(move_item(lpm, holder, moved), "cb_swap_copy");
  }
  if (holder != nullptr && holder != new_node) {
    LPM_ASSERT_RC(LPM_RC_INCONSISTENT, "chw_lpm_insert_fail_rollback");
  }
  lpm_released released;
  LPM_ASSERT_RC(chw_lpm_trie_delete(&lpm->trie, new_node->key, new_node->prefix_len, &released), "chw_lpm_trie_delete");
  chw_lpm_trie_free_tn(&lpm->trie, released);
  chw_lpm_free_swaplist(lpm);
}

/// Nodes from which out-mode gives an item of its own to a subtree even below the level.
constexpr uint32_t OUT_MODE_LEN = 17;

/// The place of a route none of whose ancestors holds an item. Where no node of the chain lies beyond the level, the
/// route keeps its item to itself.
lpm_trie_node* outmode_place_of(const chw_lpm* lpm, lpm_trie_node* node) {
  lpm_trie_node* beyond_level = nullptr;
  lpm_trie_node* beyond_len = nullptr;
  for (lpm_trie_node* at = node; at != nullptr; at = at->parent) {
    beyond_level = at->prefix_len > lpm->level ? at : beyond_level;
    beyond_len = at->prefix_len >= OUT_MODE_LEN ? at : beyond_len;
  }
  if (beyond_level == nullptr) {
    return node;
  }
  if (beyond_level->prefix_len >= OUT_MODE_LEN) {
    return beyond_level;
  }
  return beyond_len != nullptr ? beyond_len : node;
}

}  // namespace

uint32_t chw_lpm_insert_item(chw_lpm* lpm, lpm_trie_node* node) {
  const uint32_t code = place_or_swap(lpm, node);
  if (code != QLIX_COMM_OK) {
    chw_lpm_insert_fail_rollback(lpm, node);
    return code;
  }
  chw_lpm_free_swaplist(lpm);
  return QLIX_COMM_OK;
}

uint32_t chw_lpm_insert_item_outmode(chw_lpm* lpm, lpm_trie_node* node) {
  const chw_lpm_callbacks& callbacks = lpm->callbacks;
  if (node->item_info != nullptr) {
    return callbacks.cb_take_over(lpm, node, node);
  }
  for (lpm_trie_node* at = node->parent; at != nullptr; at = at->parent) {
    if (at->item_info != nullptr) {
      return callbacks.cb_take_over(lpm, at, node);
    }
  }
  lpm_trie_node* place = outmode_place_of(lpm, node);
  QLIX_COMM_CHECK_RC(callbacks.cb_place(lpm, place, place, lpm->level), "cb_place");
  if (place != node) {
    const uint32_t code = callbacks.cb_take_over(lpm, place, node);
    if (code != QLIX_COMM_OK) {
      LPM_ASSERT_RC(callbacks.cb_undo_place(lpm, place), "cb_undo_place");
      return code;
    }
  }
  LPM_ASSERT_RC(callbacks.cb_squee_up(lpm), "cb_squee_up");
  return QLIX_COMM_OK;
}
