// Keys as big-endian words: prefixes are compared by exclusive or and leading zeros.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "dpp_lpm/lpm_trie.h"

inline constexpr size_t LPM_KEY_WORDS = 3;
static_assert(LPM_KEY_WORDS * 8 == sizeof(lpm_trie_node::key));

/// A key in host-order words; bits beyond its length are zero.
struct lpm_key {
  uint64_t word[LPM_KEY_WORDS];
};

inline uint64_t lpm_load_word(const uint8_t* bytes) {
  uint64_t word;
  std::memcpy(&word, bytes, sizeof(word));
  return std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
}

/// The first `bits` bits of word `i` of a key of `bits` bits in all.
inline uint64_t lpm_word_mask(size_t i, uint32_t bits) {
  const size_t before = i * 64;
  if (bits <= before) {
    return 0;
  }
  return bits - before >= 64 ? ~uint64_t{0} : ~(~uint64_t{0} >> (bits - before));
}

/// Takes the `bits` first bits of `bytes`, of which only the bytes that hold them are read.
inline lpm_key lpm_key_load(const uint8_t* bytes, uint32_t bits) {
  uint8_t padded[sizeof(lpm_key)] = {};
  std::memcpy(padded, bytes, (bits + 7) / 8);
  lpm_key key;
  for (size_t i = 0; i < LPM_KEY_WORDS; i++) {
    key.word[i] = lpm_load_word(padded + i * 8) & lpm_word_mask(i, bits);
  }
  return key;
}

inline void lpm_key_store(const lpm_key& key, uint32_t bits, uint8_t (&bytes)[sizeof(lpm_key)]) {
  for (size_t i = 0; i < LPM_KEY_WORDS; i++) {
    const uint64_t word = key.word[i] & lpm_word_mask(i, bits);
    const uint64_t wire = std::endian::native == std::endian::little ? __builtin_bswap64(word) : word;
    std::memcpy(bytes + i * 8, &wire, sizeof(wire));
  }
}

inline uint32_t lpm_key_bit(const lpm_key& key, uint32_t bit) {
  return static_cast<uint32_t>(key.word[bit / 64] >> (63 - bit % 64)) & 1;
}

inline uint32_t lpm_node_bit(const lpm_trie_node* node, uint32_t bit) {
  return static_cast<uint32_t>(node->key[bit / 8] >> (7 - bit % 8)) & 1;
}

/// Number of leading bits, `limit` at most, in which a key and a node's key agree.
inline uint32_t lpm_common_bits(const lpm_key& key, const uint8_t* node_key, uint32_t limit) {
  for (size_t i = 0; i * 64 < limit; i++) {
    const uint64_t difference = key.word[i] ^ lpm_load_word(node_key + i * 8);
    if (difference != 0) {
      const auto common = static_cast<uint32_t>(i * 64) + static_cast<uint32_t>(std::countl_zero(difference));
      return common < limit ? common : limit;
    }
  }
  return limit;
}

/// Length of the shortest route in the subtree rooted at `node`.
inline uint8_t lpm_shortest_len(const lpm_trie_node* node) {
  return node->valid != 0 ? static_cast<uint8_t>(node->prefix_len) : node->next_len;
}

/// True when the node's prefix is a prefix of the key.
inline bool lpm_node_covers(const lpm_trie_node* node, const lpm_key& key) {
  const uint32_t bits = node->prefix_len;
  if (bits <= 64) {
    return ((key.word[0] ^ lpm_load_word(node->key)) & lpm_word_mask(0, bits)) == 0;
  }
  return lpm_common_bits(key, node->key, bits) == bits;
}
