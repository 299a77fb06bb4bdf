// The callbacks of the placement layer, and the operations on a route table.
#include "dpp_se/dpp_route.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "dpp_route_item.h"
#include "qlix_comm/check.h"
#include "qlix_comm/memory.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t SQUEEZE_MOVES = 4;

dpp_route_table* table_of(chw_lpm* lpm) {
  return reinterpret_cast<dpp_route_table*>(lpm);
}

route_item* item_of(const lpm_trie_node* node) {
  return static_cast<route_item*>(node->item_info);
}

uint32_t slot_of(const route_item* item, const lpm_trie_node* node) {
  const auto* end = item->route + item->used;
  return static_cast<uint32_t>(std::find(item->route, end, node) - item->route);
}

/// Once a callback has failed, the placement layer only puts things back.
uint32_t noted(dpp_route_table* table, uint32_t rc) {
  table->undoing = table->undoing || rc != QLIX_COMM_OK;
  return rc;
}

/// Writes an item once more as it was before a change that failed: refused does not mean untouched.
void item_put_back(dpp_route_table* table, const route_item* item) {
  table->undoing = true;
  route_item_write(table, item);
}

uint32_t route_add(dpp_route_table* table, route_item* item, lpm_trie_node* node) {
  item->route[item->used++] = node;
  const uint32_t rc = item->used == 1 ? route_item_link(table, item) : route_item_write(table, item);
  if (rc != QLIX_COMM_OK) {
    item->used--;
    if (item->used != 0) {
      item_put_back(table, item);
    }
    return rc;
  }
  // A branch point that offered an item and is now a route elsewhere offers the item of its route instead.
  route_item* offered = item_of(node);
  if (offered != nullptr && offered != item && offered->anchor == node) {
    offered->anchor = nullptr;
  }
  node->item_info = item;
  return QLIX_COMM_OK;
}

/// The highest node down to `at` that offers no item yet: what lies under it are more routes to fill the item with.
lpm_trie_node* anchor_for(lpm_trie_node* at) {
  lpm_trie_node* highest = at;
  for (lpm_trie_node* above = at->parent; above != nullptr; above = above->parent) {
    highest = above->item_info == nullptr ? above : highest;
  }
  return highest;
}

/// A new item for `node`, at `at` or above it.
uint32_t item_open(dpp_route_table* table, lpm_trie_node* at, lpm_trie_node* node) {
  route_item* item = nullptr;
  QLIX_COMM_PASS(route_item_take(table, &item));
  const bool empty = node->valid == 0;  // out-mode makes room at a branch point and fills it afterwards
  at = empty ? at : anchor_for(at);
  item->anchor = at;
  item->anchor_len = static_cast<uint8_t>(at->prefix_len);
  const uint32_t rc = empty ? QLIX_COMM_OK : route_add(table, item, node);
  if (rc != QLIX_COMM_OK) {
    route_item_give(table, item);
    return rc;
  }
  at->item_info = item;
  return QLIX_COMM_OK;
}

uint32_t cb_place(chw_lpm* lpm, lpm_trie_node* at, lpm_trie_node* node, uint32_t) {
  dpp_route_table* table = table_of(lpm);
  return noted(table, item_open(table, at, node));
}

uint32_t cb_take_over(chw_lpm* lpm, lpm_trie_node* examined, lpm_trie_node* node) {
  dpp_route_table* table = table_of(lpm);
  route_item* item = item_of(examined);
  if (route_item_fits(item, node)) {
    return noted(table, route_add(table, item, node));
  }
  // Out-mode asks without looking: a full item stays as it is and the route gets one of its own.
  return noted(table, item_open(table, node, node));
}

uint32_t cb_update(chw_lpm* lpm, lpm_trie_node* node, const lpm_route* route) {
  dpp_route_table* table = table_of(lpm);
  const uint32_t before = node->result;
  node->result = route->result;
  const uint32_t rc = route_item_write(table, item_of(node));
  if (rc != QLIX_COMM_OK) {
    node->result = before;
    item_put_back(table, item_of(node));
  }
  return rc;
}

uint32_t cb_swap_copy(chw_lpm* lpm, lpm_trie_node* from, lpm_trie_node* to) {
  dpp_route_table* table = table_of(lpm);
  route_item* item = item_of(from);
  const uint32_t slot = slot_of(item, from);
  item->route[slot] = to;
  const uint32_t rc = route_item_write(table, item);
  if (rc != QLIX_COMM_OK) {
    item->route[slot] = from;
    item_put_back(table, item);
    return rc;
  }
  from->item_info = item->anchor == from ? item : nullptr;
  return QLIX_COMM_OK;
}

uint32_t cb_save_rst(chw_lpm*, lpm_trie_node* node, const lpm_route* route) {
  node->result = route->result;
  return QLIX_COMM_OK;
}

uint32_t cb_undo_place(chw_lpm* lpm, lpm_trie_node* node) {
  route_item* item = item_of(node);
  node->item_info = nullptr;
  route_item_give(table_of(lpm), item);
  return QLIX_COMM_OK;
}

uint32_t cb_compare(chw_lpm*, void* item_info, const lpm_trie_node* node) {
  const auto* item = static_cast<const route_item*>(item_info);
  // A node that offers an item lives in it or nowhere: elsewhere it would have two.
  const bool other_item = node->item_info != nullptr && node->item_info != item_info;
  return other_item || !route_item_fits(item, node) ? 0 : CHW_LPM_MAY_TAKE;
}

uint32_t cb_get_result(chw_lpm*, const lpm_trie_node* node) {
  return node->result;
}

/// The node leaves the trie and `heir` takes its place: so does the item that it offered.
void item_inherit(lpm_trie_node* node, lpm_trie_node* heir) {
  route_item* item = item_of(node);
  node->item_info = nullptr;
  if (item == nullptr || item->anchor != node) {
    return;
  }
  const bool willing = heir != nullptr && (heir->item_info == nullptr || heir->item_info == item);
  item->anchor = willing ? heir : nullptr;
  if (willing) {
    heir->item_info = item;
  }
}

uint32_t cb_check_remove(chw_lpm*, lpm_trie_node* node) {
  lpm_trie_node* const* child = node->child;
  if (child[0] != nullptr && child[1] != nullptr) {
    return QLIX_COMM_OK;  // it stays as a branch point
  }
  if (child[0] != nullptr || child[1] != nullptr) {
    item_inherit(node, child[0] != nullptr ? child[0] : child[1]);
    return QLIX_COMM_OK;
  }
  item_inherit(node, nullptr);
  if (node->parent != nullptr && node->parent->valid == 0) {
    item_inherit(node->parent, chw_lpm_trie_brotn(node));
  }
  return QLIX_COMM_OK;
}

uint32_t cb_get_swap_out(chw_lpm* lpm, lpm_trie_node* node, lpm_trie_node** out, uint32_t) {
  // The longest route has the most nodes on its path where it can go instead.
  const route_item* item = item_of(node);
  lpm_trie_node* longest = nullptr;
  for (uint32_t i = 0; i < item->used; i++) {
    if (item->route[i] != node && (longest == nullptr || item->route[i]->prefix_len > longest->prefix_len)) {
      longest = item->route[i];
    }
  }
  *out = longest;
  return longest != nullptr ? QLIX_COMM_OK : noted(table_of(lpm), LPM_RC_INCONSISTENT);
}

/// The chip has forgotten the route already (dpp_route_delete); this does.
uint32_t cb_free_item(chw_lpm* lpm, lpm_trie_node* node) {
  dpp_route_table* table = table_of(lpm);
  route_item* item = item_of(node);
  const bool anchors = item->anchor == node;
  node->item_info = anchors && item->used != 0 ? item : nullptr;
  if (item->used == 0) {
    if (item->anchor != nullptr) {
      item->anchor->item_info = nullptr;
    }
    route_item_give(table, item);
  }
  return QLIX_COMM_OK;
}

uint32_t cb_flush(chw_lpm* lpm) {
  dpp_route_table* table = table_of(lpm);
  if (route_debts_pay(table) == QLIX_COMM_OK) {
    route_items_squeeze(table, SQUEEZE_MOVES);
  }
  return QLIX_COMM_OK;
}

uint32_t cb_squee_up(chw_lpm* lpm) {
  route_items_squeeze(table_of(lpm), SQUEEZE_MOVES);
  return QLIX_COMM_OK;
}

constexpr chw_lpm_callbacks CALLBACKS = {cb_place,      cb_take_over, cb_update,     cb_swap_copy,    cb_save_rst,
                                         cb_undo_place, cb_compare,   cb_get_result, cb_check_remove, cb_get_swap_out,
                                         cb_free_item,  cb_flush,     cb_squee_up};

/// Takes a route off the chip, leaving its item without it.
uint32_t route_withdraw(dpp_route_table* table, lpm_trie_node* node) {
  route_item* item = item_of(node);
  if (item->used == 1) {
    const uint32_t rc = route_item_unlink(table, item);
    item->used = rc == QLIX_COMM_OK ? 0 : 1;
    return rc;
  }
  const uint32_t slot = slot_of(item, node);
  std::swap(item->route[slot], item->route[item->used - 1]);
  item->used--;
  const uint32_t rc = route_item_write(table, item);
  if (rc != QLIX_COMM_OK) {
    item->used++;
    item_put_back(table, item);
  }
  return rc;
}

uint32_t arrays_make(dpp_route_table* table) {
  const size_t chains = size_t{1} << table->cfg.head_bits;
  table->chain = static_cast<uint32_t*>(ic_comm_malloc_memory(chains * sizeof(uint32_t)));
  table->block = static_cast<route_block**>(ic_comm_malloc_memory(table->cfg.block_num * sizeof(void*)));
  QLIX_COMM_CHECK_POINT(table->chain);
  QLIX_COMM_CHECK_POINT(table->block);
  std::fill_n(table->chain, chains, ROUTE_ITEM_NONE);
  std::fill_n(table->block, table->cfg.block_num, nullptr);
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t route_table_make(const dpp_route_cfg* cfg, const dpp_se_writer* writer, dpp_route_table** table) {
  QLIX_COMM_CHECK_INDEX(cfg->key_bytes, 1, LPM_KEY_BYTES_MAX);
  QLIX_COMM_CHECK_INDEX_UPPER(cfg->baddr, (1u << 20) - 1);
  QLIX_COMM_CHECK_INDEX(cfg->head_bits, 2, DPP_ROUTE_HEAD_BITS_MAX);
  QLIX_COMM_CHECK_INDEX(cfg->block_num, 1, 65536);
  QLIX_COMM_CHECK_INDEX_UPPER(cfg->flags, CHW_LPM_FLAG_OUT_MODE);
  auto* made = static_cast<dpp_route_table*>(ic_comm_malloc_memory(sizeof(dpp_route_table)));
  QLIX_COMM_CHECK_POINT(made);
  *made = {};
  made->cfg = *cfg;
  made->writer = *writer;
  uint32_t rc = arrays_make(made);
  if (rc == QLIX_COMM_OK) {
    rc = chw_lpm_init(&made->lpm, cfg->key_bytes, 0, cfg->level, &CALLBACKS, cfg->flags, 0);
  }
  if (rc != QLIX_COMM_OK) {
    dpp_route_destroy(made);
    return rc;
  }
  *table = made;
  return QLIX_COMM_OK;
}

uint32_t dpp_route_create(const dpp_route_cfg* cfg, const dpp_se_writer* writer, dpp_route_table** table) {
  QLIX_COMM_CHECK_POINT(cfg);
  QLIX_COMM_CHECK_POINT(writer);
  QLIX_COMM_CHECK_POINT(table);
  *table = nullptr;
  dpp_route_table* made = nullptr;
  QLIX_COMM_CALL(route_table_make, cfg, writer, &made);
  const uint32_t rc = route_area_clear(made);
  if (rc != QLIX_COMM_OK) {
    dpp_route_destroy(made);
    return rc;
  }
  *table = made;
  return QLIX_COMM_OK;
}

void dpp_route_destroy(dpp_route_table* table) {
  if (table == nullptr) {
    return;
  }
  chw_lpm_destroy(&table->lpm);
  for (uint32_t i = 0; i < table->block_top; i++) {
    ic_comm_free_memory(table->block[i]);
  }
  dpp_se_debts_release(&table->debts);
  ic_comm_free_memory(table->block);
  ic_comm_free_memory(table->chain);
  ic_comm_free_memory(table);
}

uint32_t dpp_route_flush(dpp_route_table* table) {
  QLIX_COMM_CHECK_POINT(table);
  return route_debts_pay(table);
}

uint32_t dpp_route_insert(dpp_route_table* table, const lpm_route* route) {
  QLIX_COMM_CHECK_POINT(table);
  QLIX_COMM_CHECK_POINT(route);
  QLIX_COMM_CHECK_INDEX_UPPER(route->result, DPP_ROUTE_RESULT_MAX);
  QLIX_COMM_PASS(route_debts_pay(table));
  // Below it no memory is an error of the program, so it is taken here.
  QLIX_COMM_CALL(chw_lpm_trie_reserve, &table->lpm.trie);
  table->undoing = false;
  const uint32_t inserted = chw_lpm_insert_entry(&table->lpm, route);
  table->undoing = false;
  return inserted;
}

uint32_t dpp_route_delete(dpp_route_table* table, const lpm_route* route) {
  QLIX_COMM_CHECK_POINT(table);
  QLIX_COMM_CHECK_POINT(route);
  uint32_t rc = route_debts_pay(table);
  lpm_trie_node* node = nullptr;
  if (rc == QLIX_COMM_OK) {
    rc = chw_lpm_trie_srh(&table->lpm.trie, route->key, route->prefix_len, LPM_SRH_EXACT, &node, false);
  }
  if (rc == QLIX_COMM_OK) {
    rc = route_withdraw(table, node);
  }
  if (rc == QLIX_COMM_OK) {
    rc = chw_lpm_delete_entry(&table->lpm, route);
  }
  table->undoing = false;
  return rc;
}

uint32_t dpp_route_search(dpp_route_table* table, lpm_route* route, uint32_t mode) {
  QLIX_COMM_CHECK_POINT(table);
  QLIX_COMM_CHECK_POINT(route);
  return chw_lpm_srh_entry(&table->lpm, route, mode);
}

uint32_t dpp_route_stat_get(const dpp_route_table* table, dpp_route_stat* stat) {
  QLIX_COMM_CHECK_POINT(table);
  QLIX_COMM_CHECK_POINT(stat);
  *stat = {table->lpm.trie.route_num, table->item_num, table->block_top, table->debts.num + (table->all_owed ? 1 : 0),
           table->lpm.level};
  return QLIX_COMM_OK;
}

chw_lpm* dpp_route_lpm_get(dpp_route_table* table) {
  return &table->lpm;
}
