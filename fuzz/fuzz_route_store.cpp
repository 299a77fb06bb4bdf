// A saved route table of any content: refused, or a table that can be used and torn down.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "dpp_se/dpp_route.h"
#include "qlix_comm/print.h"

namespace {

uint32_t accept_write(void*, const dpp_se_write*) {
  return 0;
}

/// Uses a table that the bytes described: adds a route, looks one up, deletes all.
void use(dpp_route_table* table) {
  lpm_route route{};
  route.prefix_len = 8;
  dpp_route_insert(table, &route);
  dpp_route_search(table, &route, LPM_SRH_LONGEST);
  const lpm_trie& trie = dpp_route_lpm_get(table)->trie;
  while (trie.root != nullptr) {
    const qlix_comm_double_link_node* link = trie.list.first;
    while (static_cast<const lpm_trie_node*>(link->data)->valid == 0) {
      link = link->next;
    }
    const auto* node = static_cast<const lpm_trie_node*>(link->data);
    std::memcpy(route.key, node->key, sizeof(route.key));
    route.prefix_len = node->prefix_len;
    if (dpp_route_delete(table, &route) != 0) {
      __builtin_trap();
    }
  }
}

/// The bytes begin with the table's configuration. Small tables: the time goes into what is saved, not into clearing
/// chains.
std::vector<uint8_t> small(const uint8_t* data, size_t size) {
  std::vector<uint8_t> bytes(data, data + size);
  dpp_route_cfg cfg;
  if (bytes.size() >= sizeof(cfg)) {
    std::memcpy(&cfg, bytes.data(), sizeof(cfg));
    cfg.head_bits = cfg.head_bits <= DPP_ROUTE_HEAD_BITS_MAX ? std::min(cfg.head_bits, 8u) : cfg.head_bits;
    cfg.block_num = cfg.block_num <= 65536 ? std::min(cfg.block_num, 16u) : cfg.block_num;
    std::memcpy(bytes.data(), &cfg, sizeof(cfg));
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  qlix_comm_set_print_en(0);
  const dpp_se_writer writer = {accept_write, nullptr};
  dpp_route_table* table = nullptr;
  const std::vector<uint8_t> bytes = small(data, size);
  if (dpp_route_recovery(bytes.data(), bytes.size(), &writer, &table) == 0) {
    use(table);
    dpp_route_destroy(table);
  }
  return 0;
}
