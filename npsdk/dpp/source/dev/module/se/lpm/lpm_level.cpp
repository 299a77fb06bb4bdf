// The costs from which the placement level is computed: fixed point, 1024 = 1.0.
#include <algorithm>

#include "dpp_lpm/lpm_trie.h"
#include "lpm_check.h"
#include "qlix_comm/print.h"

namespace {

constexpr uint32_t ONE = 1024;
/// Subtrees of up to this many routes cost nothing in out-mode: they fit the item of their first node.
constexpr uint32_t OUT_MODE_FREE_ROUTES = 8;

/// part x 1024 / whole; counts of a trie that fits memory rarely need 64 bits, and the short division is faster.
uint32_t share(uint32_t part, uint32_t whole) {
  if (part < (1u << 22)) {
    return part * ONE / whole;
  }
  return static_cast<uint32_t>(uint64_t{part} * ONE / whole);
}

/// Routes of a subtree and the sum of their lengths.
struct weight {
  uint32_t routes;
  uint32_t lengths;
};

uint32_t balance(const weight& node, uint32_t parent_routes, bool has_sibling, const weight& sibling) {
  const uint32_t others = parent_routes - node.routes;
  const uint32_t difference = node.routes > others ? node.routes - others : others - node.routes;
  if (std::min(others, node.routes) >= difference) {
    return share(node.routes, parent_routes);
  }
  if (!has_sibling) {
    return ONE;
  }
  if (sibling.routes == 0) {
    QLIX_COMM_TRACE_ERROR("====>p_bro_tn->sub_cnt is ZERO!.\n");
    return ONE;
  }
  const uint32_t a = node.lengths / node.routes;
  const uint32_t b = sibling.lengths / sibling.routes;
  const auto [low, high] = std::minmax(a, b);
  return high == 0 ? ONE : share(low, high);
}

/// The sibling's weight is what the parent has beyond this child and its own route: the sibling need not be touched.
uint32_t step_cost(const lpm_trie_node* node, const lpm_trie_node* parent) {
  const bool has_sibling = parent->child[0] != nullptr && parent->child[1] != nullptr;
  const uint32_t own = parent->valid;
  const weight sibling = {parent->sub_cnt - node->sub_cnt - own,
                          parent->len_sum - node->len_sum - own * parent->prefix_len};
  return static_cast<uint32_t>(node->prefix_len - parent->prefix_len) *
         balance({node->sub_cnt, node->len_sum}, parent->sub_cnt, has_sibling, sibling);
}

}  // namespace

lpm_trie_node* chw_lpm_trie_brotn(const lpm_trie_node* node) {
  LPM_ASSERT_POINT(node);
  const lpm_trie_node* parent = node->parent;
  return parent == nullptr ? nullptr : parent->child[parent->child[0] == node ? 1 : 0];
}

uint32_t BAL_VAL(const lpm_trie_node* node, const lpm_trie_node* parent) {
  LPM_ASSERT_POINT(node);
  LPM_ASSERT_POINT(parent);
  const lpm_trie_node* sibling = chw_lpm_trie_brotn(node);
  return balance({node->sub_cnt, node->len_sum}, parent->sub_cnt, sibling != nullptr,
                 sibling == nullptr ? weight{} : weight{sibling->sub_cnt, sibling->len_sum});
}

uint32_t chw_lpm_trie_path_cost(const lpm_trie_node* node, bool out_mode) {
  uint32_t cost = 0;
  for (; node != nullptr; node = node->parent) {
    if (out_mode && node->parent != nullptr && node->sub_cnt <= OUT_MODE_FREE_ROUTES) {
      continue;
    }
    cost += node->parent == nullptr ? node->prefix_len * ONE : step_cost(node, node->parent);
  }
  return cost;
}
