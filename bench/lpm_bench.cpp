// Route tables of the size that a card holds: 1,000,000 IPv4 and 200,000 IPv6 prefixes beside a plain path-compressed
// trie and beside a map for each prefix length.
#include <array>
#include <bit>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <set>

#include "dpp_lpm/lpm_algo.h"
#include "side_by_side.h"

namespace {

/// A key of up to 128 bits, most significant bit first; IPv4 addresses stand in the upper half.
struct key128 {
  uint64_t high = 0;
  uint64_t low = 0;
  auto operator<=>(const key128&) const = default;
};

key128 masked(key128 key, uint32_t len) {
  key.high &= len == 0 ? 0 : len >= 64 ? ~0ull : ~(~0ull >> len);
  key.low &= len <= 64 ? 0 : len >= 128 ? ~0ull : ~(~0ull >> (len - 64));
  return key;
}

uint32_t bit_of(const key128& key, uint32_t index) {
  return static_cast<uint32_t>((index < 64 ? key.high >> (63 - index) : key.low >> (127 - index)) & 1);
}

struct route {
  key128 key;
  uint32_t len;
  bool operator<(const route& other) const {
    return len != other.len ? len < other.len : key < other.key;
  }
};

struct workload {
  uint32_t key_bytes;
  std::vector<route> routes;     // in the order of insertion
  std::vector<key128> random;    // addresses from anywhere
  std::vector<key128> matching;  // addresses under a route
};

uint32_t pick_len(std::mt19937_64& rng, std::initializer_list<std::pair<uint32_t, uint32_t>> weights) {
  uint32_t total = 0;
  for (const auto& [len, weight] : weights) {
    total += weight;
  }
  uint32_t at = static_cast<uint32_t>(rng() % total);
  for (const auto& [len, weight] : weights) {
    if (at < weight) {
      return len;
    }
    at -= weight;
  }
  return 0;
}

/// Prefixes lie in allocated blocks, as in the public table, and not all over the address space.
workload make_ipv4(size_t num) {
  std::mt19937_64 rng(4);
  std::vector<uint64_t> blocks;
  for (int i = 0; i < 40000; i++) {
    blocks.push_back((1 + rng() % 223) << 56 | (rng() & 0xFF) << 48);
  }
  std::set<route> seen;
  workload load{4, {}, {}, {}};
  while (load.routes.size() < num) {
    const uint32_t len = pick_len(rng, {{24, 600},
                                        {23, 100},
                                        {22, 120},
                                        {21, 50},
                                        {20, 45},
                                        {19, 27},
                                        {18, 15},
                                        {17, 8},
                                        {16, 30},
                                        {15, 2},
                                        {14, 1},
                                        {12, 1},
                                        {8, 1}});
    const route one = {masked({blocks[rng() % blocks.size()] | rng() >> 16, 0}, len), len};
    if (seen.insert(one).second) {
      load.routes.push_back(one);
    }
  }
  for (size_t i = 0; i < num; i++) {
    load.random.push_back({rng() & 0xFFFFFFFF00000000ull, 0});
    load.matching.push_back({load.routes[rng() % num].key.high | (rng() & 0xFF00000000ull), 0});
  }
  return load;
}

workload make_ipv6(size_t num) {
  std::mt19937_64 rng(6);
  std::vector<uint64_t> blocks;
  for (int i = 0; i < 30000; i++) {
    constexpr uint64_t stems[] = {0x2001, 0x2400, 0x2404, 0x2600, 0x2604, 0x2606,
                                  0x2800, 0x2804, 0x2a00, 0x2a02, 0x2a0e, 0x2c0f};
    blocks.push_back(stems[rng() % std::size(stems)] << 48 | (rng() & 0xFFFF) << 32);
  }
  std::set<route> seen;
  workload load{16, {}, {}, {}};
  while (load.routes.size() < num) {
    const uint32_t len = pick_len(
        rng, {{48, 470}, {32, 130}, {44, 120}, {40, 120}, {36, 60}, {46, 30}, {47, 30}, {29, 20}, {33, 10}, {64, 10}});
    const route one = {masked({blocks[rng() % blocks.size()] | (rng() & 0xFFFFFFFF), 0}, len), len};
    if (seen.insert(one).second) {
      load.routes.push_back(one);
    }
  }
  for (size_t i = 0; i < num; i++) {
    load.random.push_back({blocks[rng() % blocks.size()] | (rng() & 0xFFFFFFFF), rng()});
    load.matching.push_back({load.routes[rng() % num].key.high | (rng() & 0xFFFF), rng()});
  }
  return load;
}

/// The peer: a path-compressed trie with nothing but what a search needs.
class plain_trie {
 public:
  void insert(const route& route, uint32_t result) {
    node** slot = &root_;
    while (*slot != nullptr) {
      node* at = *slot;
      const uint32_t common = std::min({common_bits(at->key, route.key), at->len, route.len});
      if (common == at->len && common == route.len) {
        at->valid = true;
        at->result = result;
        return;
      }
      if (common == at->len) {
        slot = &at->child[bit_of(route.key, common)];
        continue;
      }
      node* fresh = new node{{}, route.key, route.len, result, true};
      if (common == route.len) {
        fresh->child[bit_of(at->key, common)] = at;
        *slot = fresh;
      } else {
        node* branch = new node{{}, masked(route.key, common), common, 0, false};
        branch->child[bit_of(at->key, common)] = at;
        branch->child[bit_of(route.key, common)] = fresh;
        *slot = branch;
      }
      return;
    }
    *slot = new node{{}, route.key, route.len, result, true};
  }
  uint32_t longest(const key128& address, uint32_t bits) const {
    uint32_t best = 0;
    for (const node* at = root_; at != nullptr && masked(address, at->len) == at->key;) {
      best = at->valid ? at->result : best;
      at = at->len == bits ? nullptr : at->child[bit_of(address, at->len)];
    }
    return best;
  }
  void remove(const route& route) {
    node** parent = nullptr;
    node** slot = &root_;
    while (*slot != nullptr && (*slot)->len < route.len) {
      parent = slot;
      slot = &(*slot)->child[bit_of(route.key, (*slot)->len)];
    }
    if (*slot == nullptr || !((*slot)->key == route.key)) {
      return;
    }
    (*slot)->valid = false;
    collapse(slot);
    if (parent != nullptr && !(*parent)->valid) {
      collapse(parent);
    }
  }
  ~plain_trie() {
    free_below(root_);
  }

 private:
  struct node {
    node* child[2];
    key128 key;
    uint32_t len;
    uint32_t result;
    bool valid;
  };
  static uint32_t common_bits(const key128& a, const key128& b) {
    const uint64_t high = a.high ^ b.high;
    return static_cast<uint32_t>(high != 0 ? std::countl_zero(high) : 64 + std::countl_zero(a.low ^ b.low));
  }
  static void collapse(node** slot) {
    node* at = *slot;
    if (at->child[0] == nullptr || at->child[1] == nullptr) {
      *slot = at->child[0] != nullptr ? at->child[0] : at->child[1];
      delete at;
    }
  }
  static void free_below(node* at) {
    if (at != nullptr) {
      free_below(at->child[0]);
      free_below(at->child[1]);
      delete at;
    }
  }
  node* root_ = nullptr;
};

class map_per_length {
 public:
  void insert(const route& route, uint32_t result) {
    maps_[route.len][route.key] = result;
  }
  void remove(const route& route) {
    maps_[route.len].erase(route.key);
  }
  uint32_t longest(const key128& address, uint32_t) const {
    for (uint32_t len = 129; len-- > 0;) {
      if (!maps_[len].empty()) {
        const auto found = maps_[len].find(masked(address, len));
        if (found != maps_[len].end()) {
          return found->second;
        }
      }
    }
    return 0;
  }

 private:
  std::array<std::map<key128, uint32_t>, 129> maps_;
};

class our_trie {
 public:
  explicit our_trie(uint32_t key_bytes) {
    const chw_lpm_callbacks none = {};
    chw_lpm_init(&lpm_, key_bytes, 0, 20, &none, 0, 0);
  }
  ~our_trie() {
    chw_lpm_destroy(&lpm_);
  }
  void insert(const route& route, uint32_t result) {
    const std::array<uint8_t, 16> key = bytes(route.key);
    lpm_trie_node* node = nullptr;
    chw_lpm_trie_insert(&lpm_.trie, key.data(), route.len, &node);
    node->result = result;
  }
  void remove(const route& route) {
    const std::array<uint8_t, 16> key = bytes(route.key);
    lpm_released released;
    chw_lpm_trie_delete(&lpm_.trie, key.data(), route.len, &released);
    chw_lpm_trie_free_tn(&lpm_.trie, released);
  }
  uint32_t longest(const key128& address, uint32_t bits) {
    const std::array<uint8_t, 16> key = bytes(address);
    lpm_trie_node* node = nullptr;
    return chw_lpm_trie_srh(&lpm_.trie, key.data(), bits, LPM_SRH_LONGEST, &node, false) == 0 ? node->result : 0;
  }

 private:
  static std::array<uint8_t, 16> bytes(const key128& key) {
    const uint64_t words[2] = {__builtin_bswap64(key.high), __builtin_bswap64(key.low)};
    std::array<uint8_t, 16> out;
    std::memcpy(out.data(), words, sizeof(words));
    return out;
  }
  chw_lpm lpm_;
};

struct samples {
  std::vector<double> insert, random, matching, remove;
  uint64_t sum = 0;  // of all answers, to be equal for all contenders
};

template <typename Trie>
void measure(Trie& trie, const workload& load, samples* into) {
  const double num = static_cast<double>(load.routes.size());
  const uint32_t bits = load.key_bytes * 8;
  uint64_t sum = 0;
  into->insert.push_back(side_by_side::time_of([&] {
                           for (uint32_t i = 0; i < load.routes.size(); i++) {
                             trie.insert(load.routes[i], i + 1);
                           }
                         }) /
                         num);
  const auto search = [&](const std::vector<key128>& addresses) {
    return side_by_side::time_of([&] {
             for (const key128& address : addresses) {
               sum += trie.longest(address, bits);
             }
           }) /
           num;
  };
  into->random.push_back(search(load.random));
  into->matching.push_back(search(load.matching));
  into->remove.push_back(side_by_side::time_of([&] {
                           for (const route& route : load.routes) {
                             trie.remove(route);
                           }
                         }) /
                         num);
  into->sum = sum;
}

void compare(const char* name, const workload& load, int rounds) {
  samples ours, plain, maps;
  for (int round = 0; round < rounds; round++) {
    auto our = std::make_unique<our_trie>(load.key_bytes);
    measure(*our, load, &ours);
    auto peer = std::make_unique<plain_trie>();
    measure(*peer, load, &plain);
    auto map = std::make_unique<map_per_length>();
    measure(*map, load, &maps);
  }
  if (ours.sum != plain.sum || ours.sum != maps.sum) {
    std::printf("%s: the contenders disagree\n", name);
    std::exit(1);
  }
  std::printf("%s, %zu prefixes\n", name, load.routes.size());
  side_by_side::table table("ns per operation");
  table.row("insert / trie", ours.insert, plain.insert, "2.0");
  table.row("longest match, random address / trie", ours.random, plain.random, "1.0");
  table.row("longest match, random address / maps", ours.random, maps.random, "0.3");
  table.row("longest match, matching address / trie", ours.matching, plain.matching, "1.0");
  table.row("longest match, matching address / maps", ours.matching, maps.matching, "0.3");
  table.row("delete / trie", ours.remove, plain.remove, "-");
}

}  // namespace

int main() {
  std::printf("node: %zu bytes\n", sizeof(lpm_trie_node));
  compare("IPv4", make_ipv4(1000000), 3);
  compare("IPv6", make_ipv6(200000), 5);
  return 0;
}
