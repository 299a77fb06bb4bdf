// The trees beside their peers: a tree is filled, searched, walked and emptied; each phase is a row.
#include <random>

#include "containers.h"
#include "tree_subjects.h"

namespace {

using side_by_side::samples;

// Grouped: keys that share their first bytes with thousands of others, as addresses of one network do.
enum class KeyOrder { random, grouped };

constexpr std::size_t GROUPS = 16;

// Every key ends in a number of its own: an odd factor permutes the 32-bit numbers.
template <std::size_t SIZE>
Keys<SIZE> keys_make(KeyOrder order, std::size_t count, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  Keys<SIZE> heads(GROUPS);
  for (KeyBytes<SIZE>& head : heads) {
    std::generate(head.begin(), head.end(), [&random] { return static_cast<std::uint8_t>(random()); });
  }
  Keys<SIZE> keys(count);
  const auto salt = static_cast<std::uint32_t>(random());
  for (std::size_t i = 0; i < count; ++i) {
    if (order == KeyOrder::grouped) {
      keys[i] = heads[random() % GROUPS];
    } else {
      std::generate(keys[i].begin(), keys[i].end(), [&random] { return static_cast<std::uint8_t>(random()); });
    }
    const std::uint32_t number = __builtin_bswap32(static_cast<std::uint32_t>(i) * 0x9E3779B1u ^ salt);
    memcpy(keys[i].data() + SIZE - sizeof number, &number, sizeof number);
  }
  std::shuffle(keys.begin(), keys.end(), random);
  return keys;
}

std::vector<std::uint32_t> visits_make(std::size_t count, std::uint64_t seed) {
  std::vector<std::uint32_t> visits(count);
  for (std::size_t i = 0; i < count; ++i) {
    visits[i] = static_cast<std::uint32_t>(i);
  }
  std::shuffle(visits.begin(), visits.end(), std::mt19937_64(seed));
  return visits;
}

struct Phases {
  samples insert, search, walk, remove;
};

/// Keys and the orders in which they are asked for: new ones for every life, because a sequence that repeats is learned
/// by the branch predictor.
template <std::size_t SIZE>
struct Workload {
  Keys<SIZE> keys;
  std::vector<std::uint32_t> searches;
  std::vector<std::uint32_t> removals;

  Workload(KeyOrder order, std::size_t count, std::uint64_t seed)
      : keys(keys_make<SIZE>(order, count, seed)),
        searches(visits_make(count, seed + 1)),
        removals(visits_make(count, seed + 2)) {}
};

/// Adds the time of a life's phases, for one key, to the last sample of each.
template <class Subject, std::size_t SIZE>
void life(const Workload<SIZE>& work, double keys_in_all, Phases& into) {
  Subject subject(work.keys);
  into.insert.back() += side_by_side::time_of([&] {
                          for (std::size_t i = 0; i < work.keys.size(); ++i) {
                            subject.insert(i);
                          }
                        }) /
                        keys_in_all;
  into.search.back() += side_by_side::time_of([&] {
                          for (const std::uint32_t i : work.searches) {
                            subject.search(i);
                          }
                        }) /
                        keys_in_all;
  into.walk.back() += side_by_side::time_of([&] { side_by_side::keep(subject.walk()); }) / keys_in_all;
  into.remove.back() += side_by_side::time_of([&] {
                          for (const std::uint32_t i : work.removals) {
                            subject.remove(i);
                          }
                        }) /
                        keys_in_all;
}

constexpr std::size_t KEYS_A_ROUND = 100000;  // at least; small trees live several times

/// One round of a contender; all contenders of a round have the same keys.
template <class Subject, std::size_t SIZE>
void round_of(KeyOrder order, std::size_t count, std::uint64_t round, Phases& into) {
  const std::size_t lives = std::max<std::size_t>(1, KEYS_A_ROUND / count);
  for (samples* phase : {&into.insert, &into.search, &into.walk, &into.remove}) {
    phase->push_back(0);
  }
  for (std::size_t one = 0; one < lives; ++one) {
    const Workload<SIZE> work(order, count, SEED + round * lives + one);
    life<Subject, SIZE>(work, static_cast<double>(lives * count), into);
  }
}

struct Limits {
  double insert, search, walk, remove;
};
constexpr Limits NODES = {0.9, 0.9, 1.0, 0.9};
constexpr Limits POOLS = {0.85, 0.85, 1.0, 0.85};
constexpr Limits NO_LIMITS = {};

void rows(const std::string& what, const Phases& ours, const char* peer, const Phases& theirs, const Limits& limits) {
  side_by_side::row(what + ": insert", "ns", ours.insert, peer, theirs.insert, limits.insert);
  side_by_side::row(what + ": find", "ns", ours.search, peer, theirs.search, limits.search);
  side_by_side::row(what + ": walk", "ns", ours.walk, peer, theirs.walk, limits.walk);
  side_by_side::row(what + ": delete", "ns", ours.remove, peer, theirs.remove, limits.remove);
}

std::string case_name(const char* tree, std::size_t key_bytes, KeyOrder order, std::size_t count) {
  return std::string(tree) + ", " + std::to_string(key_bytes) + " B" + (order == KeyOrder::grouped ? " grouped" : "") +
         ", " + (count >= 1000000 ? std::to_string(count / 1000000) + " M" : std::to_string(count / 1000) + " k");
}

int rounds_of(std::size_t count) {
  return count < 1000000 ? 7 : 3;
}

/// A node tree beside the set as it is mostly written. With `all`, also beside one that compares words, without and
/// with a list in key order, which the library's trees keep.
template <class Functions, template <template <std::size_t> class, bool, std::size_t> class Peer, std::size_t SIZE>
void nodes_compare(const char* tree, KeyOrder order, std::size_t count, bool all) {
  Phases ours, bytes, words, listed;
  for (int round = 0; round < rounds_of(count); ++round) {
    const auto at = static_cast<std::uint64_t>(round);
    round_of<NodeTree<Functions, SIZE>, SIZE>(order, count, at, ours);
    round_of<Peer<ByteLess, false, SIZE>, SIZE>(order, count, at, bytes);
    if (all) {
      round_of<Peer<WordLess, false, SIZE>, SIZE>(order, count, at, words);
      round_of<Peer<WordLess, true, SIZE>, SIZE>(order, count, at, listed);
    }
  }
  const std::string what = case_name(tree, SIZE, order, count);
  rows(what, ours, "boost intrusive, memcmp", bytes, NODES);
  if (all) {
    rows(what, ours, "boost, words, order list", listed, NO_LIMITS);
    rows(what, ours, "boost, words, no order list", words, NO_LIMITS);
  }
}

template <std::size_t SIZE>
void pools_compare(std::size_t count) {
  Phases red_black, avl, set, btree;
  for (int round = 0; round < rounds_of(count); ++round) {
    const auto at = static_cast<std::uint64_t>(round);
    round_of<PoolTree<RbFunctions, SIZE>, SIZE>(KeyOrder::random, count, at, red_black);
    round_of<StdSet<SIZE>, SIZE>(KeyOrder::random, count, at, set);
    round_of<PoolTree<AvlFunctions, SIZE>, SIZE>(KeyOrder::random, count, at, avl);
    round_of<BTreeSet<SIZE>, SIZE>(KeyOrder::random, count, at, btree);
  }
  const std::string what = case_name("red-black pool", SIZE, KeyOrder::random, count);
  rows(what, red_black, "std::set", set, POOLS);
  rows(case_name("AVL pool", SIZE, KeyOrder::random, count), avl, "std::set", set, POOLS);
  side_by_side::row(what + ": find", "ns", red_black.search, "absl::btree_set", btree.search, 1.2);
}

template <std::size_t SIZE>
void red_black_compare(std::size_t count) {
  nodes_compare<RbFunctions, BoostSet, SIZE>("red-black", KeyOrder::random, count, SIZE == 16);
  if constexpr (SIZE > 4) {
    nodes_compare<RbFunctions, BoostSet, SIZE>("red-black", KeyOrder::grouped, count, SIZE == 16 && count == 100000);
  }
}

}  // namespace

void tree_bench() {
  for (const std::size_t count : {1000, 100000, 1000000}) {
    red_black_compare<4>(count);
    red_black_compare<16>(count);
    red_black_compare<48>(count);
    nodes_compare<AvlFunctions, BoostAvlSet, 16>("AVL", KeyOrder::random, count, false);
    nodes_compare<AvlFunctions, BoostAvlSet, 16>("AVL", KeyOrder::grouped, count, false);
  }
  for (const std::size_t count : {100000, 1000000}) {
    pools_compare<4>(count);
    pools_compare<16>(count);
    pools_compare<48>(count);
  }
}

void tree_growth() {
  for (const std::size_t count : {1000, 10000, 100000, 1000000}) {
    Phases ours;
    round_of<NodeTree<RbFunctions, 16>, 16>(KeyOrder::random, count, 0, ours);
    const auto size = static_cast<double>(count);
    side_by_side::point("red-black tree, insert", size, ours.insert[0], "ns");
    side_by_side::point("red-black tree, find", size, ours.search[0], "ns");
    side_by_side::point("red-black tree, delete", size, ours.remove[0], "ns");
  }
}
