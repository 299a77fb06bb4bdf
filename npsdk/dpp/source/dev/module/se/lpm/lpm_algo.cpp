#include "dpp_lpm/lpm_algo.h"

#include "lpm_check.h"
#include "lpm_place.h"
#include "qlix_comm/print.h"

uint32_t chw_lpm_init(chw_lpm* lpm, uint32_t key_bytes, [[maybe_unused]] uint32_t reserved, uint32_t level,
                      const chw_lpm_callbacks* callbacks, uint32_t flags, uint32_t setting) {
  LPM_ASSERT_POINT(lpm);
  LPM_ASSERT_POINT(callbacks);
  *lpm = {};
  lpm->level = level;
  lpm->flags = flags;
  lpm->setting = setting;
  lpm->callbacks = *callbacks;
  QLIX_COMM_CALL(chw_lpm_trie_init, &lpm->trie, key_bytes);
  lpm->trie.lpm = lpm;
  LPM_ASSERT_RC(qlix_comm_double_link_init(CHW_LPM_SWAP_MAX, &lpm->swap_list), "qlix_comm_double_link_init");
  return QLIX_COMM_OK;
}

void chw_lpm_destroy(chw_lpm* lpm) {
  LPM_ASSERT_POINT(lpm);
  chw_lpm_trie_destroy(&lpm->trie);
  *lpm = {};
}

namespace {

uint32_t insert_outmode(chw_lpm* lpm, lpm_trie_node* node) {
  const uint32_t code = chw_lpm_insert_item_outmode(lpm, node);
  if (code != QLIX_COMM_OK) {
    QLIX_COMM_TRACE_ERROR("\n Error[0x%x] in chw_lpm_insert_item", code);
    lpm_released released;
    LPM_ASSERT_RC(chw_lpm_trie_delete(&lpm->trie, node->key, node->prefix_len, &released), "chw_lpm_trie_delete");
    chw_lpm_trie_free_tn(&lpm->trie, released);
  }
  return code;
}

}  // namespace

uint32_t chw_lpm_insert_entry(chw_lpm* lpm, const lpm_route* route) {
  LPM_ASSERT_POINT(lpm);
  LPM_ASSERT_POINT(route);
  QLIX_COMM_CHECK_INDEX(route->prefix_len, 0, lpm->trie.key_size * 8);
  const uint32_t level_before = lpm->level;
  lpm_trie_node* node = nullptr;
  const uint32_t inserted = chw_lpm_trie_insert(&lpm->trie, route->key, route->prefix_len, &node);
  if (inserted == LPM_RC_EXISTS) {
    return lpm->callbacks.cb_update(lpm, node, route);
  }
  LPM_ASSERT_RC(inserted, "chw_lpm_trie_insert");
  LPM_ASSERT_RC(lpm->callbacks.cb_save_rst(lpm, node, route), "cb_save_rst");
  const bool out_mode = (lpm->flags & CHW_LPM_FLAG_OUT_MODE) != 0;
  const uint32_t placed = out_mode ? insert_outmode(lpm, node) : chw_lpm_insert_item(lpm, node);
  if (placed != QLIX_COMM_OK) {
    lpm->level = level_before;
    return placed;
  }
  LPM_ASSERT_RC(lpm->callbacks.cb_flush(lpm), "cb_flush");
  return QLIX_COMM_OK;
}

uint32_t chw_lpm_delete_entry(chw_lpm* lpm, const lpm_route* route) {
  LPM_ASSERT_POINT(lpm);
  LPM_ASSERT_POINT(route);
  QLIX_COMM_CHECK_INDEX(route->prefix_len, 0, lpm->trie.key_size * 8);
  lpm_trie_node* node = nullptr;
  QLIX_COMM_PASS(chw_lpm_trie_srh(&lpm->trie, route->key, route->prefix_len, LPM_SRH_EXACT, &node, true));
  LPM_ASSERT_RC(lpm->callbacks.cb_free_item(lpm, node), "cb_free_item");
  LPM_ASSERT_RC(lpm->callbacks.cb_check_remove(lpm, node), "cb_check_remove");
  lpm_released released;
  chw_lpm_trie_remove_tn(&lpm->trie, node, &released);
  chw_lpm_trie_free_tn(&lpm->trie, released);
  LPM_ASSERT_RC(lpm->callbacks.cb_flush(lpm), "cb_flush");
  return QLIX_COMM_OK;
}

uint32_t chw_lpm_srh_entry(chw_lpm* lpm, lpm_route* route, uint32_t mode) {
  LPM_ASSERT_POINT(lpm);
  LPM_ASSERT_POINT(route);
  QLIX_COMM_CHECK_INDEX(route->prefix_len, 0, lpm->trie.key_size * 8);
  lpm_trie_node* node = nullptr;
  const uint32_t found = chw_lpm_trie_srh(&lpm->trie, route->key, route->prefix_len, mode, &node, false);
  if (found == QLIX_COMM_OK) {
    route->result = lpm->callbacks.cb_get_result(lpm, node);
  }
  return found;
}
