#include "dpp_route_item.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <span>

#include "dpp_se/dpp_crc.h"
#include "qlix_comm/check.h"
#include "qlix_comm/memory.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t SQUEEZE_SPARE_SHARE = 6;  // of all places in the blocks held

static_assert(DPP_ROUTE_LENGTHS_OFFSET + (ROUTE_LEN_NUM + 7) / 8 <= DPP_SE_ITEM_BYTES);

/// The bytes of an item behind its head: those that its routes share, and of each slot.
struct item_layout {
  uint32_t shared;  ///< bytes of the anchor
  uint32_t kept;    ///< bytes of the key in a slot
  uint32_t slot() const {
    return kept + DPP_ROUTE_SLOT_TAIL_BYTES;
  }
  bool holds(uint32_t routes) const {
    return routes <= DPP_ROUTE_SLOTS_MAX && DPP_ROUTE_ANCHOR_OFFSET + shared + routes * slot() <= DPP_SE_ITEM_BYTES;
  }
};

/// For the routes of the item and one of `len` bits.
item_layout layout_of(const route_item* item, uint32_t len = 0) {
  for (uint32_t i = 0; i < item->used; i++) {
    len = std::max<uint32_t>(len, item->route[i]->prefix_len);
  }
  const uint32_t shared = item->anchor_len / 8;
  return {shared, std::max((len + 7) / 8, shared) - shared};
}

/// Writes whole rows. While undoing, rows that the chip refuses are owed.
uint32_t rows_send(dpp_route_table* table, uint32_t row, std::span<const uint8_t> data) {
  dpp_se_write write{};
  write.place = DPP_SE_LPM;
  write.baddr = table->cfg.baddr;
  write.index = row;
  write.size = static_cast<uint32_t>(data.size());
  write.ipv6 = table->cfg.key_bytes > 8 ? 1 : 0;
  write.data = data.data();
  write.data_bytes = write.size;
  bool kept = false;
  const uint32_t rc = dpp_se_debts_send(&table->debts, &table->writer, &write, table->undoing, &kept);
  if (rc == QLIX_COMM_OK || !table->undoing) {
    return rc;
  }
  table->all_owed = table->all_owed || !kept;
  return QLIX_COMM_OK;
}

uint32_t head_send(dpp_route_table* table) {
  uint8_t data[DPP_SE_ITEM_BYTES] = {};
  data[0] = DPP_ROUTE_VALID;
  data[1] = static_cast<uint8_t>(table->cfg.key_bytes);
  data[2] = static_cast<uint8_t>(table->cfg.head_bits);
  data[3] = DPP_ROUTE_SLOTS_MAX;
  for (uint32_t len = 0; len < ROUTE_LEN_NUM; len++) {
    if (table->len_items[len] != 0) {
      uint8_t* byte = &data[DPP_ROUTE_LENGTHS_OFFSET + len / 8];
      *byte = static_cast<uint8_t>(*byte | 0x80 >> len % 8);
    }
  }
  return rows_send(table, 0, data);
}

/// A chain's first item, by number plus one; 0 ends a chain.
uint32_t chain_send(dpp_route_table* table, uint32_t chain) {
  const uint32_t first = chain / DPP_ROUTE_CHAINS_IN_ROW * DPP_ROUTE_CHAINS_IN_ROW;
  uint8_t data[DPP_ROUTE_ROW_BYTES];
  for (uint32_t i = 0; i < DPP_ROUTE_CHAINS_IN_ROW; i++) {
    dpp_se_word_put(data + size_t{i} * 4, table->chain[first + i] + 1);
  }
  return rows_send(table, DPP_ROUTE_HEAD_ROWS + chain / DPP_ROUTE_CHAINS_IN_ROW, data);
}

uint32_t item_send(dpp_route_table* table, const route_item* item) {
  const uint32_t chain_rows = (1u << table->cfg.head_bits) / DPP_ROUTE_CHAINS_IN_ROW;
  const item_layout layout = layout_of(item);
  uint8_t data[DPP_SE_ITEM_BYTES] = {};
  data[0] = static_cast<uint8_t>(DPP_ROUTE_VALID | item->used);
  data[1] = item->anchor_len;
  data[2] = static_cast<uint8_t>(layout.kept);
  dpp_se_word_put(data + 4, item->next + 1);
  uint8_t* out = std::copy_n(item->route[0]->key, layout.shared, data + DPP_ROUTE_ANCHOR_OFFSET);
  for (uint32_t i = 0; i < item->used; i++, out += DPP_ROUTE_SLOT_TAIL_BYTES) {
    const lpm_trie_node* node = item->route[i];
    out = std::copy_n(node->key + layout.shared, layout.kept, out);
    dpp_se_word_put(out, static_cast<uint32_t>(node->prefix_len) << 24 | node->result);
  }
  return rows_send(table, DPP_ROUTE_HEAD_ROWS + chain_rows + item->number * DPP_ROUTE_ITEM_ROWS, data);
}

/// Writes everything that the chip can reach: the items first, then the ways to them.
uint32_t area_rewrite(dpp_route_table* table) {
  for (uint32_t number = 0; number < table->block_top * DPP_ROUTE_BLOCK_ITEMS; number++) {
    const route_item* item = route_item_at(table, number);
    QLIX_COMM_PASS(item->in_use != 0 && item->used != 0 ? item_send(table, item) : QLIX_COMM_OK);
  }
  for (uint32_t chain = 0; chain < 1u << table->cfg.head_bits; chain += DPP_ROUTE_CHAINS_IN_ROW) {
    QLIX_COMM_PASS(chain_send(table, chain));
  }
  return head_send(table);
}

/// What went wrong is reported by the caller's code; the rows already sent are put back.
class undo_scope {
 public:
  explicit undo_scope(dpp_route_table* table) : table_(table), before_(table->undoing) {
    table->undoing = true;
  }
  undo_scope(const undo_scope&) = delete;
  undo_scope& operator=(const undo_scope&) = delete;
  ~undo_scope() {
    table_->undoing = before_;
  }

 private:
  dpp_route_table* table_;
  bool before_;
};

uint32_t block_add(dpp_route_table* table) {
  if (table->block_top == table->cfg.block_num) {
    return DPP_ROUTE_RC_FULL;
  }
  auto* block = static_cast<route_block*>(ic_comm_malloc_memory(sizeof(route_block)));
  QLIX_COMM_CHECK_POINT(block);
  std::memset(static_cast<void*>(block), 0, sizeof(*block));
  std::memset(block->free, 0xFF, sizeof(block->free));
  block->free_num = DPP_ROUTE_BLOCK_ITEMS;
  for (uint32_t i = 0; i < DPP_ROUTE_BLOCK_ITEMS; i++) {
    block->item[i].number = table->block_top * DPP_ROUTE_BLOCK_ITEMS + i;
  }
  table->block[table->block_top++] = block;
  return QLIX_COMM_OK;
}

void block_drop_empty(dpp_route_table* table) {
  while (table->block_top > 0 && table->block[table->block_top - 1]->free_num == DPP_ROUTE_BLOCK_ITEMS) {
    ic_comm_free_memory(table->block[--table->block_top]);
    table->block[table->block_top] = nullptr;
  }
  table->block_hint = std::min(table->block_hint, table->block_top);
}

route_item* item_take_from(dpp_route_table* table, uint32_t block_no, uint32_t index) {
  route_block* block = table->block[block_no];
  block->free[index / 64] &= ~(uint64_t{1} << index % 64);
  block->free_num--;
  table->item_num++;
  route_item* item = &block->item[index];
  *item = {nullptr, item->number, ROUTE_ITEM_NONE, ROUTE_ITEM_NONE, 1, 0, 0, {}};
  return item;
}

uint32_t lowest_free(const route_block& block) {
  for (uint32_t i = 0; i < std::size(block.free); i++) {
    if (block.free[i] != 0) {
      return i * 64 + static_cast<uint32_t>(std::countr_zero(block.free[i]));
    }
  }
  return DPP_ROUTE_BLOCK_ITEMS;
}

/// The row from which the chip reaches an item.
uint32_t reach_send(dpp_route_table* table, uint32_t prev, uint32_t chain) {
  return prev != ROUTE_ITEM_NONE ? item_send(table, route_item_at(table, prev)) : chain_send(table, chain);
}

void chain_link(dpp_route_table* table, route_item* item, uint32_t prev, uint32_t next, uint32_t chain) {
  item->prev = prev;
  item->next = next;
  (prev == ROUTE_ITEM_NONE ? table->chain[chain] : route_item_at(table, prev)->next) = item->number;
  if (next != ROUTE_ITEM_NONE) {
    route_item_at(table, next)->prev = item->number;
  }
}

void chain_unlink(dpp_route_table* table, const route_item* item, uint32_t chain) {
  (item->prev == ROUTE_ITEM_NONE ? table->chain[chain] : route_item_at(table, item->prev)->next) = item->next;
  if (item->next != ROUTE_ITEM_NONE) {
    route_item_at(table, item->next)->prev = item->prev;
  }
}

/// Copies an item to another place and leads the chip there, then forgets the old one.
bool item_move(dpp_route_table* table, route_item* from, route_item* to) {
  const uint32_t number = to->number;
  const uint32_t chain = route_chain_of(table, from->route[0]->key, from->anchor_len);
  *to = *from;
  to->number = number;
  if (item_send(table, to) != QLIX_COMM_OK) {
    return false;
  }
  chain_link(table, to, from->prev, from->next, chain);
  if (reach_send(table, to->prev, chain) != QLIX_COMM_OK) {
    chain_link(table, from, to->prev, to->next, chain);
    const undo_scope undo(table);
    reach_send(table, from->prev, chain);
    return false;
  }
  for (uint32_t i = 0; i < to->used; i++) {
    to->route[i]->item_info = to;
  }
  if (to->anchor != nullptr) {
    to->anchor->item_info = to;
  }
  return true;
}

}  // namespace

bool route_item_fits(const route_item* item, const lpm_trie_node* node) {
  return layout_of(item, node->prefix_len).holds(item->used + 1u);
}

bool route_item_is_sound(const route_item* item) {
  return layout_of(item).holds(item->used);
}

uint32_t route_item_take(dpp_route_table* table, route_item** item) {
  while (table->block_hint < table->block_top && table->block[table->block_hint]->free_num == 0) {
    table->block_hint++;
  }
  const uint32_t rc = table->block_hint == table->block_top ? block_add(table) : QLIX_COMM_OK;
  if (rc == QLIX_COMM_OK) {
    *item = item_take_from(table, table->block_hint, lowest_free(*table->block[table->block_hint]));
  }
  return rc;
}

route_item* route_item_take_number(dpp_route_table* table, uint32_t number) {
  const uint32_t block_no = number / DPP_ROUTE_BLOCK_ITEMS;
  const uint32_t index = number % DPP_ROUTE_BLOCK_ITEMS;
  while (table->block_top <= block_no) {
    if (block_add(table) != QLIX_COMM_OK) {
      return nullptr;
    }
  }
  const bool is_free = (table->block[block_no]->free[index / 64] >> index % 64 & 1) != 0;
  return is_free ? item_take_from(table, block_no, index) : nullptr;
}

void route_item_give(dpp_route_table* table, route_item* item) {
  const uint32_t block_no = item->number / DPP_ROUTE_BLOCK_ITEMS;
  const uint32_t index = item->number % DPP_ROUTE_BLOCK_ITEMS;
  route_block* block = table->block[block_no];
  item->in_use = 0;
  block->free[index / 64] |= uint64_t{1} << index % 64;
  block->free_num++;
  table->item_num--;
  table->block_hint = std::min(table->block_hint, block_no);
  block_drop_empty(table);
}

void route_items_squeeze(dpp_route_table* table, uint32_t moves) {
  for (; moves > 0; moves--) {
    // Worth its writes only when the last block is no longer needed and inserts do not need it again soon.
    const uint32_t places = table->block_top * DPP_ROUTE_BLOCK_ITEMS;
    const uint32_t spare = std::max(DPP_ROUTE_BLOCK_ITEMS / 2, places / SQUEEZE_SPARE_SHARE);
    if (table->block_top < 2 || places - table->item_num < DPP_ROUTE_BLOCK_ITEMS + spare) {
      return;
    }
    const route_block* last = table->block[table->block_top - 1];
    route_item* from = nullptr;
    for (uint32_t i = DPP_ROUTE_BLOCK_ITEMS; i > 0 && from == nullptr; i--) {
      const route_item& candidate = last->item[i - 1];
      from = candidate.in_use != 0 ? const_cast<route_item*>(&candidate) : nullptr;
    }
    if (from == nullptr || from->used == 0) {
      return;
    }
    route_item* to = nullptr;
    if (route_item_take(table, &to) != QLIX_COMM_OK) {
      return;
    }
    if (!item_move(table, from, to)) {
      to->used = 0;
      route_item_give(table, to);
      return;
    }
    route_item_give(table, from);
  }
}

uint32_t dpp_route_crc(const uint8_t* key, uint32_t key_bytes, uint32_t len) {
  uint8_t input[LPM_KEY_BYTES_MAX + 1] = {};
  std::memcpy(input, key, (len + 7) / 8);
  if (len % 8 != 0) {
    input[len / 8] = static_cast<uint8_t>(input[len / 8] & 0xFF00 >> len % 8);
  }
  input[key_bytes] = static_cast<uint8_t>(len);
  return dpp_crc32_calc(input, key_bytes + 1, DPP_CRC32_POLY);
}

uint32_t route_chain_of(const dpp_route_table* table, const uint8_t* key, uint32_t len) {
  return dpp_route_crc(key, table->cfg.key_bytes, len) & ((1u << table->cfg.head_bits) - 1);
}

uint32_t route_item_link(dpp_route_table* table, route_item* item) {
  const uint32_t chain = route_chain_of(table, item->route[0]->key, item->anchor_len);
  const uint32_t behind = table->chain[chain];
  item->next = behind;
  // The chip must be able to follow each step: the lengths, the item, then the way to it.
  uint32_t rc = QLIX_COMM_OK;
  if (table->len_items[item->anchor_len]++ == 0) {
    rc = head_send(table);
  }
  if (rc == QLIX_COMM_OK) {
    rc = item_send(table, item);
  }
  if (rc == QLIX_COMM_OK) {
    chain_link(table, item, ROUTE_ITEM_NONE, behind, chain);
    rc = chain_send(table, chain);
    if (rc != QLIX_COMM_OK) {
      chain_unlink(table, item, chain);
      const undo_scope undo(table);
      chain_send(table, chain);
    }
  }
  if (rc != QLIX_COMM_OK) {
    table->len_items[item->anchor_len]--;
  }
  return rc;
}

uint32_t route_item_unlink(dpp_route_table* table, route_item* item) {
  const uint32_t chain = route_chain_of(table, item->route[0]->key, item->anchor_len);
  const uint32_t prev = item->prev;
  chain_unlink(table, item, chain);
  const uint32_t rc = reach_send(table, prev, chain);
  if (rc != QLIX_COMM_OK) {
    chain_link(table, item, prev, item->next, chain);
    const undo_scope undo(table);
    reach_send(table, prev, chain);
    return rc;
  }
  if (--table->len_items[item->anchor_len] == 0) {
    // A length too many costs the chip a look, not an answer: it may wait.
    const undo_scope may_wait(table);
    head_send(table);
  }
  return QLIX_COMM_OK;
}

uint32_t route_item_write(dpp_route_table* table, const route_item* item) {
  return item_send(table, item);
}

uint32_t route_area_clear(dpp_route_table* table) {
  // No length in the head means that the chip looks into no chain: it goes first.
  QLIX_COMM_CALL(head_send, table);
  const uint32_t chain_rows = (1u << table->cfg.head_bits) / DPP_ROUTE_CHAINS_IN_ROW;
  constexpr uint32_t ROWS_AT_ONCE = DPP_SE_ITEM_BYTES / DPP_ROUTE_ROW_BYTES;
  constexpr uint8_t ZEROS[DPP_SE_ITEM_BYTES] = {};
  for (uint32_t row = 0; row < chain_rows; row += ROWS_AT_ONCE) {
    const uint32_t rows = std::min(ROWS_AT_ONCE, chain_rows - row);
    QLIX_COMM_CALL(rows_send, table, DPP_ROUTE_HEAD_ROWS + row,
                   std::span(ZEROS).first(size_t{rows} * DPP_ROUTE_ROW_BYTES));
  }
  return QLIX_COMM_OK;
}

bool route_chains_restore(dpp_route_table* table) {
  const auto each_item = [table](auto&& visit) {
    for (uint32_t number = 0; number < table->block_top * DPP_ROUTE_BLOCK_ITEMS; number++) {
      route_item* item = route_item_at(table, number);
      if (item->in_use != 0 && !visit(item)) {
        return false;
      }
    }
    return true;
  };
  const auto chain_of = [table](const route_item* item) {
    return route_chain_of(table, item->route[0]->key, item->anchor_len);
  };
  // Nobody is the successor of two, nor of an item of another chain.
  const bool linked = each_item([&](route_item* item) {
    table->len_items[item->anchor_len]++;
    if (item->next == ROUTE_ITEM_NONE) {
      return true;
    }
    if (item->next >= table->block_top * DPP_ROUTE_BLOCK_ITEMS) {
      return false;
    }
    route_item* next = route_item_at(table, item->next);
    if (next->in_use == 0 || next->prev != ROUTE_ITEM_NONE || chain_of(next) != chain_of(item)) {
      return false;
    }
    next->prev = item->number;
    return true;
  });
  if (!linked || !each_item([&](route_item* item) {
        uint32_t& first = table->chain[chain_of(item)];
        if (item->prev == ROUTE_ITEM_NONE && first != ROUTE_ITEM_NONE) {
          return false;  // two beginnings
        }
        first = item->prev == ROUTE_ITEM_NONE ? item->number : first;
        return true;
      })) {
    return false;
  }
  // A ring has no beginning: its items are not met from any.
  uint32_t met = 0;
  for (uint32_t chain = 0; chain < 1u << table->cfg.head_bits; chain++) {
    for (uint32_t number = table->chain[chain]; number != ROUTE_ITEM_NONE;
         number = route_item_at(table, number)->next) {
      met++;
    }
  }
  return met == table->item_num;
}

uint32_t route_debts_pay(dpp_route_table* table) {
  const uint32_t rc = dpp_se_debts_pay(&table->debts, &table->writer);
  if (rc != QLIX_COMM_OK || !table->all_owed) {
    return rc;
  }
  QLIX_COMM_CALL(area_rewrite, table);
  table->all_owed = false;
  return QLIX_COMM_OK;
}
