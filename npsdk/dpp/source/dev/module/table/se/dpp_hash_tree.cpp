#include "dpp_hash_tree.h"

#include "dpp_hash_pool.h"
#include "qlix_comm/prefetch.h"

void dpp_hash_tree_settle(dpp_hash_table* table) {
  dpp_hash_change& change = table->waiting;
  if (change.node == nullptr) {
    return;
  }
  if (change.leaves) {
    qlix_comm_rb_delete_node(&table->tree, change.node);
    dpp_hash_pool_give(&table->pool, dpp_hash_entry::of(change.node));
  } else {
    // The key is absent, and a tree of all entries that memory can hold is not too high for one more.
    qlix_comm_rb_node* out = nullptr;
    if (change.near != nullptr) {
      qlix_comm_rb_insert_near(&table->tree, change.near, change.node, &out);
    } else {
      qlix_comm_rb_insert(&table->tree, change.node, &out);
    }
  }
  change = {};
}

void dpp_hash_tree_enter(dpp_hash_table* table, dpp_hash_entry* entry, qlix_comm_rb_node* near) {
  table->waiting = {dpp_hash_pool_node(table->pool, entry->number), near, false};
}

void dpp_hash_tree_leave(dpp_hash_table* table, dpp_hash_entry* entry) {
  qlix_comm_rb_node* const node = dpp_hash_pool_node(table->pool, entry->number);
  for (const void* relative : {static_cast<const void*>(node->parent), static_cast<const void*>(node->left),
                               static_cast<const void*>(node->right), static_cast<const void*>(node->order.prev),
                               static_cast<const void*>(node->order.next)}) {
    qlix_comm_prefetch(relative);
  }
  table->waiting = {node, nullptr, true};
}
