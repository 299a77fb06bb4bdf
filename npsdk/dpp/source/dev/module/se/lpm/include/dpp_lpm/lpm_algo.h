// Placement layer over the route trie: decides at which node of a route's path its hardware item lives, and moves items
// when a new route must take a place already used. What an item is, the owner of the callbacks decides.
#pragma once

#include <cstdint>

#include "dpp_lpm/lpm_trie.h"

inline constexpr uint32_t CHW_LPM_FLAG_OUT_MODE = 0x1;  ///< the alternative placement rule
inline constexpr uint32_t CHW_LPM_SWAP_MAX = 146;       ///< capacity of the swap list, nodes on the longest path

struct lpm_route {
  uint8_t key[LPM_KEY_BYTES_MAX];
  uint16_t prefix_len;
  uint32_t result;
};

/// What the placement layer asks of the owner of the items. Unless said otherwise a slot returns 0 or a code; the codes
/// of a placement come back to the caller of the insert, a failure of the others is fatal.
struct chw_lpm_callbacks {
  /// Makes an item at `at` and puts the route of `node` into it; `at` == `node` for an item of its own. In out-mode
  /// `at` is given twice and its item stays empty until a take-over. Sets item_info of the nodes.
  uint32_t (*cb_place)(chw_lpm* lpm, lpm_trie_node* at, lpm_trie_node* node, uint32_t level);
  /// Puts the route of `node` into the item of `examined` and sets its item_info.
  uint32_t (*cb_take_over)(chw_lpm* lpm, lpm_trie_node* examined, lpm_trie_node* node);
  /// The prefix of an insert is a route already: give it the new result.
  uint32_t (*cb_update)(chw_lpm* lpm, lpm_trie_node* node, const lpm_route* route);
  /// Gives the place of `from` to `to`. item_info of `to` is copied by the layer; item_info of `from` becomes what it
  /// still holds, null for nothing.
  uint32_t (*cb_swap_copy)(chw_lpm* lpm, lpm_trie_node* from, lpm_trie_node* to);
  uint32_t (*cb_save_rst)(chw_lpm* lpm, lpm_trie_node* node, const lpm_route* route);
  /// Takes back what cb_place made at `node`.
  uint32_t (*cb_undo_place)(chw_lpm* lpm, lpm_trie_node* node);
  /// CHW_LPM_MAY_TAKE when the new route may take the item; anything else: the walk goes on.
  uint32_t (*cb_compare)(chw_lpm* lpm, void* item_info, const lpm_trie_node* node);
  /// Not a code: the value that a search stores in the route.
  uint32_t (*cb_get_result)(chw_lpm* lpm, const lpm_trie_node* node);
  /// Called before `node` leaves the trie: items held by it, or by a branch node that goes with it, need another home.
  uint32_t (*cb_check_remove)(chw_lpm* lpm, lpm_trie_node* node);
  /// Names in `*out` the node whose item is to move so that `node` gets its place. The last argument is 0.
  uint32_t (*cb_get_swap_out)(chw_lpm* lpm, lpm_trie_node* node, lpm_trie_node** out, uint32_t reserved);
  /// The route of `node` is deleted: its place is free.
  uint32_t (*cb_free_item)(chw_lpm* lpm, lpm_trie_node* node);
  /// An insert or delete is complete in the trie: time to write what is still to be written.
  uint32_t (*cb_flush)(chw_lpm* lpm);
  /// Compacts the items after a placement in out-mode.
  uint32_t (*cb_squee_up)(chw_lpm* lpm);
};
inline constexpr uint32_t CHW_LPM_MAY_TAKE = 2;

struct chw_lpm {
  uint32_t level;    ///< placement level in bits, recomputed by every insert
  uint32_t flags;    ///< CHW_LPM_FLAG_*
  uint32_t setting;  ///< kept for the callbacks
  lpm_trie trie;
  qlix_comm_double_link swap_list;  ///< nodes whose items moved, newest first; empty between operations
  chw_lpm_callbacks callbacks;
};

/// Prepares an instance; `reserved` takes no part. key_bytes outside 1 to 18: 0x1205. It must stay where it is until
/// chw_lpm_destroy.
uint32_t chw_lpm_init(chw_lpm* lpm, uint32_t key_bytes, uint32_t reserved, uint32_t level,
                      const chw_lpm_callbacks* callbacks, uint32_t flags, uint32_t setting);
void chw_lpm_destroy(chw_lpm* lpm);

/// Inserts a route, or gives an existing one its new result (the code of cb_update). A placement that fails is undone
/// completely and its code returned. prefix_len above the key: 0x1205.
uint32_t chw_lpm_insert_entry(chw_lpm* lpm, const lpm_route* route);
/// Deletes a route; LPM_RC_NOT_FOUND when there is none.
uint32_t chw_lpm_delete_entry(chw_lpm* lpm, const lpm_route* route);
/// Searches by LPM_SRH_LONGEST or LPM_SRH_EXACT and stores the result in the route.
uint32_t chw_lpm_srh_entry(chw_lpm* lpm, lpm_route* route, uint32_t mode);
