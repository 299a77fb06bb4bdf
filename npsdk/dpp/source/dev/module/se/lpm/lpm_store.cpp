// The saved form of a trie, in host byte order: a head, then one record for each route in list order. Branch nodes are
// not saved: the set of routes determines them.
#include <cstring>

#include "dpp_lpm/lpm_trie.h"
#include "lpm_check.h"
#include "lpm_key.h"
#include "qlix_comm/memory.h"
#include "qlix_comm/print.h"

namespace {

struct store_head {
  uint32_t route_num;
  uint32_t record_size;  ///< bytes of one record
  uint32_t key_size;
};

struct store_record {
  uint32_t result;
  uint16_t prefix_len;
  uint8_t key[LPM_KEY_BYTES_MAX];  ///< key_size bytes of it are saved
};
static_assert(offsetof(store_record, key) == 6 && sizeof(store_record) == 24, "the saved form has no gaps");

uint32_t record_size(uint32_t key_size) {
  return static_cast<uint32_t>(offsetof(store_record, key)) + key_size;
}

bool head_is_good(const store_head& head, uint32_t key_size, size_t size) {
  return head.key_size == key_size && head.record_size == record_size(key_size) &&
         size - sizeof(head) == size_t{head.route_num} * head.record_size;
}

uint32_t restore(lpm_trie* trie, const uint8_t* bytes, const store_head& head) {
  for (uint32_t i = 0; i < head.route_num; i++, bytes += head.record_size) {
    store_record record{};
    std::memcpy(&record, bytes, head.record_size);
    QLIX_COMM_CHECK_INDEX(record.prefix_len, 0, trie->key_size * 8);
    lpm_trie_node* node = nullptr;
    QLIX_COMM_CALL(chw_lpm_trie_insert, trie, record.key, record.prefix_len, &node);
    node->result = record.result;
    if (std::memcmp(node->key, record.key, trie->key_size) != 0) {
      QLIX_COMM_TRACE_ERROR("%s: route %u has bits beyond its length\n", __func__, i);
      return QLIX_COMM_OUT_OF_RANGE;
    }
  }
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t chw_lpm_trie_store(const lpm_trie* trie, size_t* size, uint8_t** blob) {
  LPM_ASSERT_POINT(trie);
  LPM_ASSERT_POINT(size);
  LPM_ASSERT_POINT(blob);
  const store_head head = {trie->route_num, record_size(trie->key_size), trie->key_size};
  *size = sizeof(head) + size_t{head.route_num} * head.record_size;
  *blob = static_cast<uint8_t*>(ic_comm_malloc_memory(*size));
  QLIX_COMM_CHECK_POINT(*blob);
  std::memcpy(*blob, &head, sizeof(head));
  uint8_t* bytes = *blob + sizeof(head);
  for (const qlix_comm_double_link_node* link = trie->list.first; link != nullptr; link = link->next) {
    const auto* node = static_cast<const lpm_trie_node*>(link->data);
    if (node->valid == 0) {
      continue;
    }
    store_record record{};
    record.result = node->result;
    record.prefix_len = node->prefix_len;
    std::memcpy(record.key, node->key, trie->key_size);
    std::memcpy(bytes, &record, head.record_size);
    bytes += head.record_size;
  }
  return QLIX_COMM_OK;
}

uint32_t chw_lpm_trie_recovery(lpm_trie* trie, const uint8_t* blob, size_t size) {
  LPM_ASSERT_POINT(trie);
  LPM_ASSERT_POINT(blob);
  store_head head;
  if (trie->root != nullptr || size < sizeof(head)) {
    QLIX_COMM_TRACE_ERROR("%s: %zu bytes are too few for a saved trie, or the trie is in use\n", __func__, size);
    return QLIX_COMM_OUT_OF_RANGE;
  }
  std::memcpy(&head, blob, sizeof(head));
  if (!head_is_good(head, trie->key_size, size)) {
    QLIX_COMM_TRACE_ERROR("%s: %u routes of %u bytes with keys of %u do not fit a saved trie of %zu bytes\n", __func__,
                          head.route_num, head.record_size, head.key_size, size);
    return QLIX_COMM_OUT_OF_RANGE;
  }
  if (restore(trie, blob + sizeof(head), head) == QLIX_COMM_OK) {
    return QLIX_COMM_OK;
  }
  chw_lpm* lpm = trie->lpm;
  const uint32_t key_size = trie->key_size;
  chw_lpm_trie_destroy(trie);
  LPM_ASSERT_RC(chw_lpm_trie_init(trie, key_size), "chw_lpm_trie_init");
  trie->lpm = lpm;
  return QLIX_COMM_OUT_OF_RANGE;
}
