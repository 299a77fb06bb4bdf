// What a trie of routes must look like, worked out the slow way.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <tuple>
#include <vector>

#include "dpp_lpm/lpm_algo.h"

namespace lpm_reference {

struct prefix {
  std::array<uint8_t, 18> key{};
  uint32_t len = 0;
  auto operator<=>(const prefix&) const = default;
};

/// A random prefix, or a whole address. One bit in `sparse` is set, so that they crowd under a few stems and nest.
inline prefix random_prefix(std::mt19937& rng, uint32_t key_bytes, uint32_t sparse, bool full = false) {
  prefix one;
  one.len = full ? key_bytes * 8 : static_cast<uint32_t>(rng() % (key_bytes * 8 + 1));
  for (uint32_t bit = 0; bit < one.len; bit++) {
    if (rng() % sparse == 0) {
      one.key[bit / 8] = static_cast<uint8_t>(one.key[bit / 8] | 0x80 >> bit % 8);
    }
  }
  return one;
}

inline lpm_route as_route(const prefix& one, uint32_t result = 0) {
  lpm_route route{};
  std::memcpy(route.key, one.key.data(), sizeof(route.key));
  route.prefix_len = static_cast<uint16_t>(one.len);
  route.result = result;
  return route;
}

inline bool bit(const uint8_t* key, uint32_t index) {
  return (key[index / 8] >> (7 - index % 8) & 1) != 0;
}

inline bool covers(const uint8_t* route, uint32_t len, const uint8_t* key) {
  for (uint32_t i = 0; i < len; i++) {
    if (bit(route, i) != bit(key, i)) {
      return false;
    }
  }
  return true;
}

template <typename Value>
const std::pair<const prefix, Value>* longest(const std::map<prefix, Value>& routes, const prefix& address) {
  const std::pair<const prefix, Value>* best = nullptr;
  for (const auto& route : routes) {
    if (covers(route.first.key.data(), route.first.len, address.key.data()) &&
        (best == nullptr || route.first.len > best->first.len)) {
      best = &route;
    }
  }
  return best;
}

using node_state = std::tuple<std::vector<uint8_t>, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t>;

/// Every node in list order: key, length, validity, counters, result of a route.
inline std::vector<node_state> states(const lpm_trie& trie) {
  std::vector<node_state> all;
  for (auto* link = trie.list.first; link != nullptr; link = link->next) {
    const auto* node = static_cast<const lpm_trie_node*>(link->data);
    all.emplace_back(std::vector<uint8_t>(node->key, node->key + sizeof(node->key)), node->prefix_len, node->valid,
                     node->sub_cnt, node->len_sum, node->valid != 0 ? node->result : 0);
  }
  return all;
}

struct sums {
  uint32_t routes = 0;
  uint32_t lengths = 0;
  uint32_t shortest = LPM_NO_ROUTE;
};

inline sums recount_node(const lpm_trie_node* node, std::vector<const lpm_trie_node*>* order) {
  sums total;
  for (int side = 0; side < 2; side++) {
    if (const lpm_trie_node* child = node->child[side]; child != nullptr) {
      EXPECT_EQ(child->parent, node);
      EXPECT_GT(child->prefix_len, node->prefix_len);
      EXPECT_TRUE(covers(node->key, node->prefix_len, child->key));
      EXPECT_EQ(bit(child->key, node->prefix_len), side == 1);
      const sums below = recount_node(child, order);
      total.routes += below.routes;
      total.lengths += below.lengths;
      total.shortest = std::min(total.shortest, below.shortest);
    }
    if (side == 0) {
      order->push_back(node);
    }
  }
  EXPECT_EQ(node->next_len, total.shortest);
  if (node->valid != 0) {
    total.routes++;
    total.lengths += node->prefix_len;
    total.shortest = node->prefix_len;
  } else {
    EXPECT_TRUE(node->child[0] != nullptr && node->child[1] != nullptr) << "a branch node without two children";
  }
  bool beyond = false;
  for (uint32_t i = node->prefix_len; i < sizeof(node->key) * 8; i++) {
    beyond = beyond || bit(node->key, i);
  }
  EXPECT_FALSE(beyond) << "bits beyond the length";
  EXPECT_EQ(node->sub_cnt, total.routes);
  EXPECT_EQ(node->len_sum, total.lengths);
  return total;
}

/// Checks links, keys, counters of every node, totals, and the ordered list.
inline void recount(const lpm_trie& trie) {
  std::vector<const lpm_trie_node*> order;
  sums total;
  if (trie.root != nullptr) {
    EXPECT_EQ(trie.root->parent, nullptr);
    total = recount_node(trie.root, &order);
  }
  EXPECT_EQ(trie.route_num, total.routes);
  EXPECT_EQ(trie.len_total, total.lengths);
  EXPECT_EQ(trie.list.count, order.size());
  size_t at = 0;
  for (auto* link = trie.list.first; link != nullptr && at < order.size(); link = link->next, at++) {
    EXPECT_EQ(link->data, order[at]) << "list position " << at;
  }
  EXPECT_EQ(at, order.size());
}

/// The level that an insert of `node` leaves behind.
inline uint32_t level(const chw_lpm& lpm, const lpm_trie_node* node) {
  const bool out = (lpm.flags & CHW_LPM_FLAG_OUT_MODE) != 0;
  uint32_t cost = 0;
  for (; node != nullptr; node = node->parent) {
    if (node->parent == nullptr) {
      cost += node->prefix_len * 1024u;
    } else if (!out || node->sub_cnt > 8) {
      cost += (node->prefix_len - node->parent->prefix_len) * BAL_VAL(node, node->parent);
    }
  }
  const uint32_t e = std::min(static_cast<uint32_t>(lpm.trie.len_total / lpm.trie.route_num), cost / 1024);
  if (out) {
    return std::max(e, 18u);
  }
  return e < 14 ? 18 : e + 4;
}

}  // namespace lpm_reference
