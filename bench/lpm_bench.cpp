// Route tables of the size that a card holds: 1,000,000 IPv4 and 200,000 IPv6 prefixes beside a plain path-compressed
// trie, beside a hash table for each prefix length, and for IPv4 beside a table with a slot for each 24-bit head. Every
// contender allocates as it likes, and its memory is what the heap holds more when the table is full.
#include <absl/container/flat_hash_map.h>
#include <malloc.h>

#include <array>
#include <bit>
#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <utility>

#include "dpp_lpm/lpm_algo.h"
#include "dpp_se/dpp_route.h"
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
  std::vector<key128> inside;    // addresses inside the allocated blocks
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
  workload load{4, {}, {}, {}, {}};
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
    load.inside.push_back({blocks[rng() % blocks.size()] | (rng() & 0xFFFF00000000ull), 0});
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
  workload load{16, {}, {}, {}, {}};
  while (load.routes.size() < num) {
    const uint32_t len = pick_len(
        rng, {{48, 470}, {32, 130}, {44, 120}, {40, 120}, {36, 60}, {46, 30}, {47, 30}, {29, 20}, {33, 10}, {64, 10}});
    const route one = {masked({blocks[rng() % blocks.size()] | (rng() & 0xFFFFFFFF), 0}, len), len};
    if (seen.insert(one).second) {
      load.routes.push_back(one);
    }
  }
  for (size_t i = 0; i < num; i++) {
    load.random.push_back({(rng() & 0x1FFFFFFFFFFFFFFF) | 0x2000000000000000, rng()});
    load.inside.push_back({blocks[rng() % blocks.size()] | (rng() & 0xFFFFFFFF), rng()});
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

/// Every bit of the key reaches every bit of the hash: most keys end in zeros.
struct key_hash {
  size_t operator()(const key128& key) const {
    uint64_t mixed = key.high ^ std::rotl(key.low * 0x9E3779B97F4A7C15, 32);
    mixed = (mixed ^ mixed >> 32) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ mixed >> 29) * 0x94D049BB133111EB;
    return mixed ^ mixed >> 32;
  }
};

/// The lengths that occur are asked from the longest down.
class hash_per_length {
 public:
  void insert(const route& route, uint32_t result) {
    hashes_[route.len][route.key] = result;
  }
  void remove(const route& route) {
    hashes_[route.len].erase(route.key);
  }
  uint32_t longest(const key128& address, uint32_t) const {
    for (uint32_t len = 129; len-- > 0;) {
      if (!hashes_[len].empty()) {
        const auto found = hashes_[len].find(masked(address, len));
        if (found != hashes_[len].end()) {
          return found->second;
        }
      }
    }
    return 0;
  }

 private:
  std::array<absl::flat_hash_map<key128, uint32_t, key_hash>, 129> hashes_;
};

/// The fastest that a search can be: all heads of 24 bits. It cannot take a route back, and holds none beyond /24.
class direct_table {
 public:
  void insert(const route& route, uint32_t result) {
    const size_t first = route.key.high >> 40;
    for (size_t i = 0; i < size_t{1} << (24 - route.len); i++) {
      if (lengths_[first + i] <= route.len) {
        lengths_[first + i] = static_cast<uint8_t>(route.len);
        results_[first + i] = result;
      }
    }
  }
  void remove(const route&) {}
  uint32_t longest(const key128& address, uint32_t) const {
    return results_[address.high >> 40];
  }

 private:
  std::vector<uint32_t> results_ = std::vector<uint32_t>(size_t{1} << 24);
  std::vector<uint8_t> lengths_ = std::vector<uint8_t>(size_t{1} << 24);
};

class our_table {
 public:
  explicit our_table(uint32_t key_bytes) {
    const chw_lpm_callbacks none = {};
    chw_lpm_init(&lpm_, key_bytes, 0, 20, &none, 0, 0);
  }
  ~our_table() {
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

  static std::array<uint8_t, 16> bytes(const key128& key) {
    const uint64_t words[2] = {__builtin_bswap64(key.high), __builtin_bswap64(key.low)};
    std::array<uint8_t, 16> out;
    std::memcpy(out.data(), words, sizeof(words));
    return out;
  }

 private:
  chw_lpm lpm_;
};

struct figures {
  side_by_side::samples insert, random, inside, matching, remove, bytes;
  uint64_t sum = 0;  // of all answers, to be equal for all contenders
};

double heap_bytes() {
  const struct mallinfo2 heap = mallinfo2();
  return static_cast<double>(heap.uordblks + heap.hblkhd);
}

/// One life of a table.
template <typename Table>
void measure(Table* table, const workload& load, double heap_before, figures* into) {
  const double num = static_cast<double>(load.routes.size());
  const uint32_t bits = load.key_bytes * 8;
  uint64_t sum = 0;
  into->insert.push_back(side_by_side::time_of([&] {
                           for (uint32_t i = 0; i < load.routes.size(); i++) {
                             table->insert(load.routes[i], i + 1);
                           }
                         }) /
                         num);
  into->bytes.push_back((heap_bytes() - heap_before) / num);
  const auto search = [&](const std::vector<key128>& addresses) {
    return side_by_side::time_of([&] {
             for (const key128& address : addresses) {
               sum += table->longest(address, bits);
             }
           }) /
           num;
  };
  into->random.push_back(search(load.random));
  into->inside.push_back(search(load.inside));
  into->matching.push_back(search(load.matching));
  into->remove.push_back(side_by_side::time_of([&] {
                           for (const route& route : load.routes) {
                             table->remove(route);
                           }
                         }) /
                         num);
  into->sum = sum;
}

template <typename Table, typename... Arguments>
void round_of(const workload& load, figures* into, Arguments... arguments) {
  const double before = heap_bytes();
  const auto table = std::make_unique<Table>(arguments...);
  measure(table.get(), load, before, into);
}

void compare(const std::string& name, const workload& load, int rounds, double match_limit) {
  figures ours, trie, hashes, direct;
  const bool ipv4 = load.key_bytes == 4;
  for (int round = 0; round < rounds; round++) {
    round_of<our_table>(load, &ours, load.key_bytes);
    round_of<plain_trie>(load, &trie);
    round_of<hash_per_length>(load, &hashes);
    if (ipv4) {
      round_of<direct_table>(load, &direct);
    }
  }
  side_by_side::must(ours.sum == trie.sum && ours.sum == hashes.sum && (!ipv4 || ours.sum == direct.sum),
                     "the contenders disagree");
  const auto row = [&](const char* what, auto member, const char* unit, double trie_limit, double hash_limit) {
    side_by_side::row(name + what, unit, ours.*member, "path-compressed trie", trie.*member, trie_limit);
    side_by_side::row(name + what, unit, ours.*member, "hash per length", hashes.*member, hash_limit);
  };
  row(", match, any address", &figures::random, "ns", match_limit, 1.0);
  row(", match, inside blocks", &figures::inside, "ns", 1.0, 1.0);
  row(", match, under a route", &figures::matching, "ns", 1.0, 1.0);
  row(", insert", &figures::insert, "ns", 1.0, side_by_side::NO_LIMIT);
  row(", delete", &figures::remove, "ns", 1.0, side_by_side::NO_LIMIT);
  row(", memory", &figures::bytes, "bytes", 1.0, side_by_side::NO_LIMIT);
  if (ipv4) {
    side_by_side::row(name + ", match, under a route", "ns", ours.matching, "direct table, 24 bits", direct.matching,
                      4.0);
  }
}

/// What a route manager does to the card's memory, in place of a card.
struct write_count {
  double writes = 0;
  dpp_se_writer writer() {
    return {[](void* context, const dpp_se_write*) {
              static_cast<write_count*>(context)->writes++;
              return 0u;
            },
            this};
  }
  double taken() {
    return std::exchange(writes, 0);
  }
};

/// The items that the routes fill on the chip, and the rows written for each of them.
void items(const std::string& name, const workload& load, double limit) {
  const double num = static_cast<double>(load.routes.size());
  const dpp_route_cfg cfg = {load.key_bytes, 0, 18, 65536, 0, 20};
  write_count count;
  const dpp_se_writer writer = count.writer();
  dpp_route_table* table = nullptr;
  side_by_side::must(dpp_route_create(&cfg, &writer, &table) == 0, "no route table");
  count.taken();
  const auto change = [&](const route& one, uint32_t (*by)(dpp_route_table*, const lpm_route*)) {
    lpm_route route = {};
    std::memcpy(route.key, our_table::bytes(one.key).data(), 16);
    route.prefix_len = static_cast<uint16_t>(one.len);
    side_by_side::must(by(table, &route) == 0, "a route is refused");
  };
  const auto items_row = [&](const char* when) {
    dpp_route_stat stat;
    dpp_route_stat_get(table, &stat);
    side_by_side::row(name + when, "items", {stat.item_num * 1.0}, "full items of seven", {num / 7}, limit);
  };
  const auto writes_row = [&](const char* what) {
    side_by_side::row(name + what, "rows", {count.taken() / num}, "one write", {1}, 1.3);
  };
  for (const route& one : load.routes) {
    change(one, dpp_route_insert);
  }
  items_row(", items");
  writes_row(", writes an insert");
  for (const route& one : load.routes) {
    change(one, dpp_route_delete);
    change(one, dpp_route_insert);
  }
  items_row(", items, each taken out and put in");
  count.taken();
  for (const route& one : load.routes) {
    change(one, dpp_route_delete);
  }
  writes_row(", writes a delete");
  dpp_route_destroy(table);
}

void growth(const char* name, workload (*make)(size_t)) {
  for (const size_t num : {1000u, 10000u, 100000u, 1000000u}) {
    const workload load = make(num);
    figures ours;
    round_of<our_table>(load, &ours, load.key_bytes);
    const auto size = static_cast<double>(num);
    side_by_side::point((std::string(name) + " routes, match").c_str(), size, ours.matching[0], "ns");
    side_by_side::point((std::string(name) + " routes, insert").c_str(), size, ours.insert[0], "ns");
    side_by_side::point((std::string(name) + " routes, delete").c_str(), size, ours.remove[0], "ns");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (side_by_side::growth_asked(argc, argv)) {
    growth("IPv4", make_ipv4);
    growth("IPv6", make_ipv6);
    return 0;
  }
  const workload ipv4 = make_ipv4(1000000);
  const workload ipv6 = make_ipv6(200000);
  items("1 M IPv4 routes", ipv4, 7.0 / 4);
  items("200 k IPv6 routes", ipv6, 7.0 / 3);
  compare("1 M IPv4 routes", ipv4, 3, 1.0);
  compare("200 k IPv6 routes", ipv6, 5, 1.0);
  return 0;
}
