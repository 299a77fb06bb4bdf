// The saved form of a route table, in host byte order: a head, the saved trie, then one record for each item with the
// numbers of its routes in list order.
#include <cstring>
#include <memory>
#include <span>

#include "dpp_route_item.h"
#include "qlix_comm/check.h"
#include "qlix_comm/memory.h"
#include "qlix_comm/print.h"

namespace {

struct store_head {
  dpp_route_cfg cfg;
  uint32_t level;
  uint32_t item_num;
  uint32_t trie_size;  ///< bytes of the saved trie
};

constexpr uint16_t NO_ANCHOR = 0xFFFF;

/// Followed by `used` route numbers of 32 bits.
struct store_item {
  uint32_t number;
  uint32_t next;
  uint16_t anchor_node_len;  ///< length of the node that offers the item, NO_ANCHOR for none
  uint8_t anchor_len;
  uint8_t used;
};
static_assert(sizeof(store_item) == 12 && sizeof(store_head) == 36, "the saved form has no gaps");

struct memory_free {
  void operator()(void* memory) const {
    ic_comm_free_memory(memory);
  }
};
template <typename T>
using memory_of = std::unique_ptr<T[], memory_free>;

/// Library memory for `num` values, undefined; null without memory.
template <typename T>
memory_of<T> memory_take(size_t num) {
  // NOLINTNEXTLINE(bugprone-sizeof-expression): the values may be pointers
  return memory_of<T>(static_cast<T*>(ic_comm_malloc_memory(num * sizeof(T) + 1)));
}

/// Saved bytes that have not been read yet.
using saved_bytes = std::span<const uint8_t>;

/// Reads from their front; false when there are too few.
bool take(saved_bytes* bytes, void* into, size_t size) {
  if (size > bytes->size()) {
    return false;
  }
  std::memcpy(into, bytes->data(), size);
  *bytes = bytes->subspan(size);
  return true;
}

template <typename Visit>
void each_route(const dpp_route_table* table, Visit visit) {
  uint32_t number = 0;
  for (const qlix_comm_double_link_node* link = table->lpm.trie.list.first; link != nullptr; link = link->next) {
    auto* node = static_cast<lpm_trie_node*>(link->data);
    if (node->valid != 0) {
      visit(node, number++);
    }
  }
}

/// Gives the item the node of `len` bits above its routes, on which no other item may stand.
bool anchor_restore(route_item* item, uint32_t len) {
  lpm_trie_node* node = item->route[0];
  while (node != nullptr && node->prefix_len != len) {
    node = node->parent;
  }
  if (node == nullptr || node->item_info != (node->valid != 0 ? item : nullptr)) {
    return false;
  }
  for (uint32_t i = 0; i < item->used; i++) {
    if (item->route[i]->prefix_len < len || !dpp_se_bits_shared(node->key, item->route[i]->key, len)) {
      return false;
    }
  }
  node->item_info = item;
  item->anchor = node;
  return item->anchor_len <= len;
}

bool item_restore(dpp_route_table* table, const store_item& saved, uint32_t item_num, saved_bytes* bytes,
                  lpm_trie_node* const* routes) {
  // A block for each saved item is more than any table keeps: the bytes do not decide how much memory is taken.
  const uint64_t numbers_max = (uint64_t{item_num} + 2) * DPP_ROUTE_BLOCK_ITEMS;
  route_item* item = saved.number < numbers_max ? route_item_take_number(table, saved.number) : nullptr;
  if (item == nullptr || saved.used == 0 || saved.used > DPP_ROUTE_SLOTS_MAX) {
    return false;
  }
  item->next = saved.next;
  item->anchor_len = saved.anchor_len;
  item->used = saved.used;
  for (uint32_t i = 0; i < saved.used; i++) {
    uint32_t number = 0;
    if (!take(bytes, &number, sizeof(number)) || number >= table->lpm.trie.route_num ||
        routes[number]->item_info != nullptr) {
      return false;
    }
    lpm_trie_node* node = routes[number];
    item->route[i] = node;
    node->item_info = item;
    if (node->prefix_len < saved.anchor_len || node->result > DPP_ROUTE_RESULT_MAX ||
        !dpp_se_bits_shared(item->route[0]->key, node->key, saved.anchor_len)) {
      return false;
    }
  }
  return route_item_is_sound(item);
}

bool items_restore(dpp_route_table* table, uint32_t item_num, saved_bytes* bytes) {
  const uint32_t route_num = table->lpm.trie.route_num;
  const auto routes = memory_take<lpm_trie_node*>(route_num);
  const auto anchors = memory_take<uint16_t>(item_num);
  const auto numbers = memory_take<uint32_t>(item_num);
  if (routes == nullptr || anchors == nullptr || numbers == nullptr) {
    return false;
  }
  each_route(table, [&](lpm_trie_node* node, uint32_t number) { routes[number] = node; });
  uint64_t placed = 0;
  for (uint32_t i = 0; i < item_num; i++) {
    store_item saved;
    if (!take(bytes, &saved, sizeof(saved)) || !item_restore(table, saved, item_num, bytes, routes.get())) {
      return false;
    }
    placed += saved.used;
    anchors[i] = saved.anchor_node_len;
    numbers[i] = saved.number;
  }
  // Anchors come when every route knows its item: a route that offers an item lives in it.
  for (uint32_t i = 0; i < item_num; i++) {
    const uint16_t len = anchors[i];
    if (len != NO_ANCHOR && !anchor_restore(route_item_at(table, numbers[i]), len)) {
      return false;
    }
  }
  return placed == route_num && bytes->size() == 0 && route_chains_restore(table);
}

bool table_restore(dpp_route_table* table, const store_head& head, saved_bytes* bytes) {
  if (chw_lpm_trie_recovery(&table->lpm.trie, bytes->data(), head.trie_size) != QLIX_COMM_OK) {
    return false;
  }
  *bytes = bytes->subspan(head.trie_size);
  table->lpm.level = head.level;
  return items_restore(table, head.item_num, bytes);
}

}  // namespace

uint32_t dpp_route_store(const dpp_route_table* table, size_t* size, uint8_t** blob) {
  QLIX_COMM_CHECK_POINT(table);
  QLIX_COMM_CHECK_POINT(size);
  QLIX_COMM_CHECK_POINT(blob);
  *blob = nullptr;
  size_t trie_size = 0;
  uint8_t* trie = nullptr;
  QLIX_COMM_CALL(chw_lpm_trie_store, &table->lpm.trie, &trie_size, &trie);
  const uint32_t routes = table->lpm.trie.route_num;
  *size = sizeof(store_head) + trie_size + table->item_num * sizeof(store_item) + routes * sizeof(uint32_t);
  const auto numbers = memory_take<uint32_t>(size_t{table->block_top} * DPP_ROUTE_BLOCK_ITEMS * DPP_ROUTE_SLOTS_MAX);
  *blob = static_cast<uint8_t*>(ic_comm_malloc_memory(*size));
  if (*blob == nullptr || numbers == nullptr) {
    ic_comm_free_memory(trie);
    ic_comm_free_memory(*blob);
    *blob = nullptr;
    return QLIX_COMM_POINT_NULL;
  }
  uint8_t* out = *blob;
  const auto put = [&out](const void* from, size_t bytes) {
    std::memcpy(out, from, bytes);
    out += bytes;
  };
  const store_head head = {table->cfg, table->lpm.level, table->item_num, static_cast<uint32_t>(trie_size)};
  put(&head, sizeof(head));
  put(trie, trie_size);
  ic_comm_free_memory(trie);
  // The number of each route, by item and slot.
  each_route(table, [&](const lpm_trie_node* node, uint32_t number) {
    const auto* item = static_cast<const route_item*>(node->item_info);
    uint32_t slot = 0;
    while (item->route[slot] != node) {
      slot++;
    }
    numbers[size_t{item->number} * DPP_ROUTE_SLOTS_MAX + slot] = number;
  });
  for (uint32_t i = 0; i < table->block_top * DPP_ROUTE_BLOCK_ITEMS; i++) {
    const route_item* item = route_item_at(table, i);
    if (item->in_use == 0) {
      continue;
    }
    const store_item saved = {item->number, item->next, item->anchor != nullptr ? item->anchor->prefix_len : NO_ANCHOR,
                              item->anchor_len, item->used};
    put(&saved, sizeof(saved));
    put(&numbers[size_t{i} * DPP_ROUTE_SLOTS_MAX], item->used * sizeof(uint32_t));
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_route_recovery(const uint8_t* blob, size_t size, const dpp_se_writer* writer, dpp_route_table** table) {
  QLIX_COMM_CHECK_POINT(blob);
  QLIX_COMM_CHECK_POINT(writer);
  QLIX_COMM_CHECK_POINT(table);
  *table = nullptr;
  saved_bytes bytes(blob, size);
  store_head head;
  dpp_route_table* made = nullptr;
  // A table is made, and its chains cleared, only for bytes that have the lengths they claim.
  if (!take(&bytes, &head, sizeof(head)) || head.trie_size > bytes.size() ||
      head.item_num > (bytes.size() - head.trie_size) / sizeof(store_item) ||
      route_table_make(&head.cfg, writer, &made) != QLIX_COMM_OK || !table_restore(made, head, &bytes)) {
    QLIX_COMM_TRACE_ERROR("ErrorCode[0x%x]: %zu bytes are no saved route table\n", DPP_ROUTE_RC_STORE, size);
    dpp_route_destroy(made);
    return DPP_ROUTE_RC_STORE;
  }
  *table = made;
  return QLIX_COMM_OK;
}
