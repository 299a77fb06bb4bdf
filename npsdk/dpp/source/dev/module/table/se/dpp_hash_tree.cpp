#include "dpp_hash_tree.h"

#include <cstring>

#include "dpp_hash_pool.h"
#include "dpp_hash_spill.h"
#include "qlix_comm/prefetch.h"

namespace {

void node_link(dpp_hash_table* table, qlix_comm_rb_node* node, const qlix_comm_rb_node* near) {
  // The key is absent, and a tree of all entries that memory can hold is not too high for one more.
  qlix_comm_rb_node* out = nullptr;
  if (near != nullptr) {
    qlix_comm_rb_insert_near(&table->tree, near, node, &out);
  } else {
    qlix_comm_rb_insert(&table->tree, node, &out);
  }
}

void node_unlink(dpp_hash_table* table, qlix_comm_rb_node* node) {
  qlix_comm_rb_delete_node(&table->tree, node);
  dpp_hash_pool_give(&table->pool, dpp_hash_entry::of(node));
}

void carry_out(dpp_hash_table* table, const dpp_hash_change& change) {
  if (change.leaves) {
    node_unlink(table, change.node);
  } else {
    // What stood next to it came into the tree before it and, leaving, waits behind it.
    node_link(table, change.node, change.behind != nullptr ? change.behind : change.before);
  }
}

/// What a new change touches first: the node that leaves, or those between which the other one comes to hang. They are
/// mostly its parent and grandparent.
void change_begin(const dpp_hash_table& table, dpp_hash_change& change) {
  if (!change.leaves) {
    const dpp_hash_beside beside = dpp_hash_spill_beside(table, *dpp_hash_entry::of(change.node));
    change.before = beside.before;
    change.behind = beside.behind;
  }
  for (const qlix_comm_rb_node* node : {change.leaves ? change.node : change.before, change.behind}) {
    qlix_comm_prefetch(node);
  }
}

/// One change later: what else a node that leaves is linked with.
void change_continue(const dpp_hash_change& change) {
  if (change.leaves) {
    const qlix_comm_rb_node& node = *change.node;
    for (const void* relative : {static_cast<const void*>(node.parent), static_cast<const void*>(node.left),
                                 static_cast<const void*>(node.right), static_cast<const void*>(node.order.prev),
                                 static_cast<const void*>(node.order.next)}) {
      qlix_comm_prefetch(relative);
    }
  }
}

/// The change that came `age` changes before the last one.
const dpp_hash_change& change_of(const dpp_hash_changes& waiting, uint32_t age) {
  return waiting.change[(waiting.next - 1 - age) % DPP_HASH_TREE_LAG];
}

void change_add(dpp_hash_table* table, dpp_hash_change added) {
  dpp_hash_changes& waiting = table->waiting;
  change_begin(*table, added);
  if (waiting.num > 0) {
    change_continue(change_of(waiting, 0));
  }
  if (waiting.num == DPP_HASH_TREE_LAG) {
    carry_out(table, change_of(waiting, DPP_HASH_TREE_LAG - 1));
  } else {
    waiting.num++;
  }
  waiting.change[waiting.next++ % DPP_HASH_TREE_LAG] = added;
}

}  // namespace

void dpp_hash_tree_enter(dpp_hash_table* table, dpp_hash_entry* entry) {
  qlix_comm_rb_node* const node = dpp_hash_pool_node(table->pool, entry->number);
  if (table->ddr_items != 0) {
    change_add(table, {.node = node, .leaves = false});
  } else {
    node_link(table, node, nullptr);
  }
}

void dpp_hash_tree_leave(dpp_hash_table* table, dpp_hash_entry* entry) {
  qlix_comm_rb_node* const node = dpp_hash_pool_node(table->pool, entry->number);
  if (table->ddr_items != 0) {
    change_add(table, {.node = node, .leaves = true});
  } else {
    node_unlink(table, node);
  }
}

void dpp_hash_tree_settle(dpp_hash_table* table) {
  for (dpp_hash_changes& waiting = table->waiting; waiting.num > 0; waiting.num--) {
    carry_out(table, change_of(waiting, waiting.num - 1));
  }
}

dpp_hash_entry* dpp_hash_tree_find(const dpp_hash_table& table, const uint8_t* tree_key) {
  for (uint32_t age = 0; age < table.waiting.num; age++) {
    const dpp_hash_change& change = change_of(table.waiting, age);
    if (std::memcmp(change.node->key, tree_key, table.tree.key_size) == 0) {
      return change.leaves ? nullptr : dpp_hash_entry::of(change.node);
    }
  }
  qlix_comm_rb_node* node = nullptr;
  return qlix_comm_rb_search(&table.tree, tree_key, &node) == QLIX_COMM_OK ? dpp_hash_entry::of(node) : nullptr;
}
