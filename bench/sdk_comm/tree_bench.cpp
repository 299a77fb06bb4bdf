// The trees beside their peers: a tree is filled, searched, walked and emptied; each phase is one figure.
#include <algorithm>
#include <cstdio>
#include <random>
#include <string>

#include "peers.h"
#include "tree_subjects.h"

namespace {

enum class KeyOrder { random, ascending };

// Random: random keys. Ascending: a big-endian number at the end of the key, its head the same in all keys.
template <std::size_t SIZE>
Keys<SIZE> keys_make(KeyOrder order, std::size_t count, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  Keys<SIZE> keys(count);
  const auto salt = static_cast<std::uint32_t>(random());
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t number = static_cast<std::uint32_t>(i);
    if (order == KeyOrder::random) {
      for (std::uint8_t& byte : keys[i]) {
        byte = static_cast<std::uint8_t>(random());
      }
      // An odd factor permutes the 32-bit numbers, so that no four-byte key comes twice.
      number = number * 0x9E3779B1u ^ salt;
    }
    number = __builtin_bswap32(number);
    memcpy(keys[i].data() + SIZE - sizeof number, &number, sizeof number);
  }
  if (order == KeyOrder::random) {
    std::shuffle(keys.begin(), keys.end(), random);
  }
  return keys;
}

// Order in which the keys are asked for: their own, or shuffled.
std::vector<std::uint32_t> visits_make(KeyOrder order, std::size_t count, std::uint64_t seed) {
  std::vector<std::uint32_t> visits(count);
  for (std::size_t i = 0; i < count; ++i) {
    visits[i] = static_cast<std::uint32_t>(i);
  }
  if (order == KeyOrder::random) {
    std::shuffle(visits.begin(), visits.end(), std::mt19937_64(seed));
  }
  return visits;
}

template <class Subject, std::size_t SIZE>
void lifecycle(benchmark::State& state, KeyOrder order, std::size_t count) {
  double insert = 0;
  double search = 0;
  double walk = 0;
  double remove = 0;
  std::size_t rounds = 0;
  for ([[maybe_unused]] auto round : state) {
    // Every round has its own keys and visits: a sequence that repeats is learned by the branch predictor.
    const Keys<SIZE> keys = keys_make<SIZE>(order, count, SEED + rounds);
    const std::vector<std::uint32_t> searches = visits_make(order, count, SEED + rounds + 1);
    const std::vector<std::uint32_t> removals = visits_make(order, count, SEED + rounds + 2);
    Subject subject(keys);
    insert += nanoseconds([&] {
      for (std::size_t i = 0; i < count; ++i) {
        subject.insert(i);
      }
    });
    search += nanoseconds([&] {
      for (const std::uint32_t i : searches) {
        subject.search(i);
      }
    });
    walk += nanoseconds([&] { benchmark::DoNotOptimize(subject.walk()); });
    remove += nanoseconds([&] {
      for (const std::uint32_t i : removals) {
        subject.remove(i);
      }
    });
    ++rounds;
  }
  const double operations = static_cast<double>(rounds) * static_cast<double>(count);
  state.counters["insert"] = insert / operations;
  state.counters["search"] = search / operations;
  state.counters["walk"] = walk / operations;
  state.counters["delete"] = remove / operations;
}

// As many as steady the medians: where memory is waited for, single rounds differ by a fifth.
int repetitions(KeyOrder order, std::size_t count) {
  if (count < 1000000) {
    return 15;
  }
  return order == KeyOrder::random ? 9 : 5;
}

template <class Subject, std::size_t SIZE>
void subject_register(const char* name) {
  for (const KeyOrder order : {KeyOrder::random, KeyOrder::ascending}) {
    for (const std::size_t count : {1000, 100000, 1000000}) {
      const std::string full = std::string("tree/") + name + "/" + std::to_string(SIZE) + "B/" +
                               (order == KeyOrder::random ? "random/" : "ascending/") + std::to_string(count);
      benchmark::RegisterBenchmark(
          full.c_str(), [order, count](benchmark::State& state) { lifecycle<Subject, SIZE>(state, order, count); })
          ->Iterations(static_cast<long>(std::max<std::size_t>(1, 100000 / count)))
          ->Repetitions(repetitions(order, count));
    }
  }
}

template <std::size_t SIZE>
void size_register() {
  subject_register<NodeTree<RbFunctions, SIZE>, SIZE>("rb_node");
  subject_register<NodeTree<AvlFunctions, SIZE>, SIZE>("avl_node");
  subject_register<BoostSet<SIZE>, SIZE>("boost_set");
  subject_register<BoostAvlSet<SIZE>, SIZE>("boost_avl_set");
  subject_register<PoolTree<RbFunctions, SIZE>, SIZE>("rb_pool");
  subject_register<PoolTree<AvlFunctions, SIZE>, SIZE>("avl_pool");
  subject_register<StdSet<SIZE>, SIZE>("std_set");
}

template <std::size_t SIZE>
void memory_row_print() {
  printf("%6zu %8zu %8zu %10zu %14zu %8zu %8zu %8zu\n", SIZE, NodeTree<RbFunctions, SIZE>::entry_size(),
         NodeTree<AvlFunctions, SIZE>::entry_size(), BoostSet<SIZE>::entry_size(), BoostAvlSet<SIZE>::entry_size(),
         PoolTree<RbFunctions, SIZE>::entry_size(), PoolTree<AvlFunctions, SIZE>::entry_size(),
         StdSet<SIZE>::entry_size());
}

}  // namespace

void tree_benchmarks_register() {
  size_register<4>();
  size_register<16>();
  size_register<48>();
}

void tree_memory_print() {
  printf("\nbytes per entry: node, key and link; ours with the order list (%zu bytes), which the peers lack\n",
         sizeof(qlix_comm_double_link_node));
  printf("%6s %8s %8s %10s %14s %8s %8s %8s\n", "key", "rb_node", "avl_node", "boost_set", "boost_avl_set", "rb_pool",
         "avl_pool", "std_set");
  memory_row_print<4>();
  memory_row_print<16>();
  memory_row_print<48>();
}
