// The items of a route table: where they are, what they hold, how the chip sees them.
#pragma once

#include "dpp_se/dpp_route.h"

inline constexpr uint32_t ROUTE_ITEM_NONE = UINT32_MAX;
inline constexpr uint32_t ROUTE_LEN_NUM = LPM_KEY_BYTES_MAX * 8 + 1;

/// One item. Its anchor prefix is what its routes share: the first anchor_len bits of any of them.
struct route_item {
  lpm_trie_node* anchor;  ///< node that offers the item to new routes, null when that node left the trie
  uint32_t number;
  uint32_t next;  ///< chain, by number
  uint32_t prev;
  uint8_t in_use;
  uint8_t anchor_len;
  uint8_t used;  ///< slots, filled from the first; 0: not in a chain
  lpm_trie_node* route[DPP_ROUTE_SLOTS_MAX];
};

struct route_block {
  uint64_t free[DPP_ROUTE_BLOCK_ITEMS / 64];
  uint32_t free_num;
  route_item item[DPP_ROUTE_BLOCK_ITEMS];
};

struct dpp_route_table {
  chw_lpm lpm;  ///< first: the callbacks find the table by it
  dpp_route_cfg cfg;
  dpp_se_writer writer;
  route_block** block;
  uint32_t block_top;   ///< blocks from here on are not held
  uint32_t block_hint;  ///< no block before it has a free item
  uint32_t item_num;
  uint32_t* chain;                    ///< first item of each chain
  uint32_t len_items[ROUTE_LEN_NUM];  ///< chained items by anchor length
  dpp_se_debts debts;
  bool all_owed;  ///< there was no memory for a debt: the whole area is owed
  bool undoing;   ///< a callback failed: what follows puts back and must not fail
};

/// A table without routes that the chip knows nothing of yet.
uint32_t route_table_make(const dpp_route_cfg* cfg, const dpp_se_writer* writer, dpp_route_table** table);

inline route_item* route_item_at(const dpp_route_table* table, uint32_t number) {
  return &table->block[number / DPP_ROUTE_BLOCK_ITEMS]->item[number % DPP_ROUTE_BLOCK_ITEMS];
}
/// Whether the item has room for the route of `node` too; longer routes take more of it.
bool route_item_fits(const route_item* item, const lpm_trie_node* node);
/// Whether what the item holds is what an item can hold.
bool route_item_is_sound(const route_item* item);

/// Takes the lowest free item. DPP_ROUTE_RC_FULL when no block has one and the area has no room for another, 0x1201
/// without memory for one.
uint32_t route_item_take(dpp_route_table* table, route_item** item);
/// Takes a given item, for a restore; null when it is in use or beyond the area.
route_item* route_item_take_number(dpp_route_table* table, uint32_t number);
/// Gives an item that is in no chain back, and the last blocks when they are empty.
void route_item_give(dpp_route_table* table, route_item* item);
/// Moves up to `moves` items out of the last block into free places of earlier ones, once a block could be saved.
void route_items_squeeze(dpp_route_table* table, uint32_t moves);

/// Chain of a prefix.
uint32_t route_chain_of(const dpp_route_table* table, const uint8_t* key, uint32_t len);

// Changes of chains and slots, in software and on the chip. On failure both are as they were (or, while undoing, the
// row is owed and 0 is returned).
/// Puts an item with its first route at the head of its chain.
uint32_t route_item_link(dpp_route_table* table, route_item* item);
/// Takes an item out of its chain; its routes are then unreachable.
uint32_t route_item_unlink(dpp_route_table* table, route_item* item);
/// Writes an item as it stands.
uint32_t route_item_write(dpp_route_table* table, const route_item* item);

/// Gives the chip an empty head and empty chains.
uint32_t route_area_clear(dpp_route_table* table);
/// Gives the chip what it is owed.
uint32_t route_debts_pay(dpp_route_table* table);

/// Links items that a restore has filled, each in the chain and at the place that their `next` say. False when they do
/// not form chains.
bool route_chains_restore(dpp_route_table* table);
