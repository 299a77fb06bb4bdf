// The trees against a plain model under long random sequences, and which neighbour replaces a removed node.
#include <random>

#include "tree_model.h"

namespace {

struct Sequence {
  std::uint32_t max;
  std::uint32_t key_size;
  bool reversed;       // order by a compare hook
  bool shared_head;    // most keys differ in their last bytes only
  std::uint32_t keys;  // different keys in play
};

constexpr Sequence SEQUENCES[] = {
    {0, 1, false, false, 200},  {0, 2, false, false, 150},  {40, 3, false, false, 60},   {0, 4, false, false, 150},
    {100, 5, false, false, 90}, {0, 7, false, true, 150},   {100, 8, false, false, 130}, {0, 9, false, true, 150},
    {64, 16, false, true, 100}, {0, 23, false, false, 150}, {100, 24, false, true, 130}, {0, 48, false, true, 150},
    {60, 48, false, false, 90}, {0, 16, true, false, 150},  {60, 4, true, false, 90},    {1, 16, false, false, 3},
};

std::vector<Key> keys_make(const Sequence& sequence, std::mt19937& random) {
  std::vector<Key> keys;
  while (keys.size() < sequence.keys) {
    Key key(sequence.key_size, '\x7f');
    const bool head_differs = !sequence.shared_head || random() % 16 == 0;
    const std::size_t from = head_differs ? random() % key.size() / 2 : key.size() - 2;
    for (std::size_t i = from; i < key.size(); ++i) {
      key[i] = static_cast<char>(random());
    }
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
      keys.push_back(key);
    }
  }
  return keys;
}

// Grows, churns and empties the tree a few times; everything is checked after every step.
template <class Traits>
void sequence_run(const Sequence& sequence, std::uint32_t seed) {
  std::mt19937 random(seed);
  const std::vector<Key> keys = keys_make(sequence, random);
  ModelledTree<Traits> tree(sequence.max, sequence.key_size, sequence.reversed);
  for (const unsigned insert_share : {80, 50, 20, 70, 5}) {
    for (int step = 0; step < 400; ++step) {
      const Key& key = keys[random() % keys.size()];
      if (random() % 100 < insert_share) {
        tree.insert(key);
      } else {
        tree.remove(key);
      }
      tree.find(keys[random() % keys.size()]);
      tree.check();
      if (testing::Test::HasFailure()) {
        FAIL() << "step " << step << ", share " << insert_share << ", key size " << sequence.key_size << ", seed "
               << seed;
      }
    }
  }
}

TYPED_TEST(TreeTest, HoldsItsRulesUnderRandomSequences) {
  std::uint32_t seed = 1;
  for (const Sequence& sequence : SEQUENCES) {
    sequence_run<TypeParam>(sequence, seed++);
    if (this->HasFailure()) {
      return;
    }
  }
}

// What a tree keeps for keys that come in order, while others come and go between them.
TYPED_TEST(TreeTest, MeetsKeysInOrderWhileOthersComeAndGo) {
  const auto key = [](std::uint32_t i) {
    const std::uint32_t number = __builtin_bswap32(i);
    return Key(12, 'k') + Key(reinterpret_cast<const char*>(&number), sizeof number);
  };
  for (const std::uint32_t max : {0u, 2000u}) {
    ModelledTree<TypeParam> tree(max, 16, false);
    for (std::uint32_t i = 0; i < 600; i += 2) {
      tree.insert(key(i));
    }
    for (std::uint32_t i = 0; i < 600; ++i) {
      tree.find(key(i));
      if (i % 7 == 0) {
        tree.insert(key(i + 1));
      }
      if (i % 5 == 0) {
        tree.remove(key(i + 2));
      }
      tree.find(key(i + 1));
      tree.insert(key(1000 + i));
      if (i % 11 == 0) {
        tree.remove(key(1000 + i));
      }
      if (i % 10 == 0) {
        tree.check();
        ASSERT_FALSE(this->HasFailure()) << "step " << i;
      }
    }
  }
}

// Many levels deep, and larger than a huge page.
TYPED_TEST(TreeTest, FindsItsWayInALargeTree) {
  for (const bool shared_head : {false, true}) {
    ModelledTree<TypeParam> tree(30000, 16, false);
    std::mt19937 random(42);
    std::vector<Key> keys(20000, Key(16, 'k'));
    for (Key& key : keys) {
      for (std::size_t i = shared_head ? 12 : 0; i < key.size(); ++i) {
        key[i] = static_cast<char>(random());
      }
      tree.insert(key);
    }
    tree.check();
    std::shuffle(keys.begin(), keys.end(), random);
    for (std::size_t i = 0; i < keys.size(); ++i) {
      tree.find(keys[i]);
      if (i % 2 == 0) {
        tree.remove(keys[i]);
      }
    }
    tree.check();
  }
}

TYPED_TEST(TreeTest, ReplacesARemovedNodeByTheStatedNeighbour) {
  ModelledTree<TypeParam> tree(0, 1, false);
  for (const char c : {'d', 'b', 'f', 'a', 'c', 'e', 'g'}) {
    tree.insert(Key(1, c));
  }
  tree.remove(Key(1, 'd'));
  const bool avl = std::is_same_v<TypeParam, AvlTraits>;
  EXPECT_EQ(*static_cast<const char*>(tree.tree().root->key), avl ? 'c' : 'e');
  tree.check();
}

}  // namespace
