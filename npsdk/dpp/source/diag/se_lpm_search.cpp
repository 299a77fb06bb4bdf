// An address looked up as the chip does: the route area's head names the anchor lengths worth a look, each leads to one
// chain of items, and the longest route of all of them wins.
#include <algorithm>

#include "dpp_diag/dpp_diag_functions.h"
#include "dpp_lpm/lpm_trie.h"
#include "dpp_memory/dpp_se_mem.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg/dpp_reg_types.h"
#include "dpp_se/dpp_route.h"
#include "dpp_se/dpp_se_format.h"
#include "qlix_comm/check.h"
#include "qlix_comm/plural.h"
#include "se_hash.h"
#include "se_print.h"

namespace {

constexpr uint32_t AREA_NUM = 8;  // of each address family
constexpr uint32_t ADDRESS_WORDS = 5;

constexpr uint32_t STEPS_MAX = 100000;

/// One look-up in one area.
struct route_search {
  uint32_t dev_id;
  uint64_t base;  // line
  uint32_t key_bytes;
  uint32_t chain_num;
  uint8_t address[4 * ADDRESS_WORDS];
  bool found;
  uint32_t length;  // of the route
  uint32_t result;
};

uint32_t lines_read(const route_search& s, uint64_t first, uint32_t num, uint8_t* bytes) {
  for (uint32_t i = 0; i < num; ++i) {
    const uint32_t addr = static_cast<uint32_t>(std::min<uint64_t>(s.base + first + i, UINT32_MAX));
    uint32_t words[DPP_ROUTE_ROW_BYTES / 4] = {};
    QLIX_COMM_CALL(dpp_se_smmu1_ind_read, s.dev_id, addr, DPP_SE_DDR_128, words);
    dpp_se_words_to_bytes(words, DPP_ROUTE_ROW_BYTES / 4, bytes + size_t{i} * DPP_ROUTE_ROW_BYTES);
  }
  return QLIX_COMM_OK;
}

// The routes of one item that are longer than the best so far. Its bytes may be anything.
void item_search(route_search& s, const uint8_t* item, uint32_t length) {
  const uint32_t shared = length / 8;
  const uint32_t kept = item[2];
  if ((item[0] & DPP_ROUTE_VALID) == 0 || item[1] != length || shared + kept > s.key_bytes) {
    return;
  }
  uint8_t key[LPM_KEY_BYTES_MAX] = {};
  const uint8_t* anchor = item + DPP_ROUTE_ANCHOR_OFFSET;
  std::copy_n(anchor, shared, key);
  const uint8_t* slot = anchor + shared;
  const uint32_t slot_bytes = kept + DPP_ROUTE_SLOT_TAIL_BYTES;
  const uint32_t slot_num =
      std::min((DPP_SE_ITEM_BYTES - DPP_ROUTE_ANCHOR_OFFSET - shared) / slot_bytes, item[0] & 0x0Fu);
  for (uint32_t i = 0; i < slot_num; ++i, slot += slot_bytes) {
    std::copy_n(slot, kept, key + shared);
    const uint32_t route_len = slot[kept];
    const bool is_longer = route_len >= length && (!s.found || route_len > s.length);
    if (is_longer && route_len <= 8 * (shared + kept) && dpp_se_bits_shared(key, s.address, route_len)) {
      s.found = true;
      s.length = route_len;
      s.result = dpp_se_word_get(slot + kept) & DPP_ROUTE_RESULT_MAX;
    }
  }
}

uint32_t chain_search(route_search& s, uint32_t length) {
  const uint32_t crc = dpp_route_crc(s.address, s.key_bytes, length);
  const uint32_t chain = crc & (s.chain_num - 1);
  uint8_t line[DPP_ROUTE_ROW_BYTES] = {};
  QLIX_COMM_CALL(lines_read, s, DPP_ROUTE_HEAD_ROWS + chain / DPP_ROUTE_CHAINS_IN_ROW, 1, line);
  uint32_t next = dpp_se_word_get(line + size_t{4} * (chain % DPP_ROUTE_CHAINS_IN_ROW));
  uint32_t steps = 0;
  uint32_t mark = 0;  // an item passed; who comes by again goes round in a ring
  const uint64_t items = DPP_ROUTE_HEAD_ROWS + s.chain_num / DPP_ROUTE_CHAINS_IN_ROW;
  for (; next != 0 && next != mark && steps < STEPS_MAX; ++steps) {
    mark = (steps & (steps - 1)) == 0 ? next : mark;
    uint8_t item[DPP_SE_ITEM_BYTES] = {};
    QLIX_COMM_CALL(lines_read, s, items + uint64_t{next - 1} * DPP_ROUTE_ITEM_ROWS, DPP_ROUTE_ITEM_ROWS, item);
    item_search(s, item, length);
    next = dpp_se_word_get(item + 4);
  }
  QLIX_COMM_PRINT("anchor length %u: crc 0x%08x, chain 0x%x, %u item%s%s\n", length, crc, chain, steps,
                  qlix_comm_plural(steps), next != 0 ? ", the chain does not end" : "");
  return QLIX_COMM_OK;
}

// Sets key_bytes and chain_num; `lengths` receives the head's map of anchor lengths. An area without a sound head has
// key_bytes 0.
uint32_t head_read(route_search& s, uint8_t* head) {
  QLIX_COMM_CALL(lines_read, s, 0, DPP_ROUTE_HEAD_ROWS, head);
  const uint32_t head_bits = head[2];
  const bool sound = (head[0] & DPP_ROUTE_VALID) != 0 && head[1] >= 1 && head[1] <= LPM_KEY_BYTES_MAX &&
                     head_bits >= 2 && head_bits <= DPP_ROUTE_HEAD_BITS_MAX;
  s.key_bytes = sound ? head[1] : 0;
  s.chain_num = sound ? 1u << head_bits : 0;
  return QLIX_COMM_OK;
}

uint32_t area_search(route_search& s, uint32_t area) {
  uint8_t head[DPP_SE_ITEM_BYTES] = {};
  QLIX_COMM_CALL(head_read, s, head);
  if (s.key_bytes == 0) {
    QLIX_COMM_PRINT("area %u, line 0x%llx: no route table\n", area, static_cast<unsigned long long>(s.base));
    return QLIX_COMM_OK;
  }
  QLIX_COMM_PRINT("area %u, line 0x%llx: keys of %u byte%s, %u chain%s\n", area,
                  static_cast<unsigned long long>(s.base), s.key_bytes, qlix_comm_plural(s.key_bytes), s.chain_num,
                  qlix_comm_plural(s.chain_num));
  se_bytes_print("address", s.address, s.key_bytes);
  s.found = false;
  for (uint32_t length = 0; length <= 8 * s.key_bytes; ++length) {
    if ((head[DPP_ROUTE_LENGTHS_OFFSET + length / 8] & 0x80u >> length % 8) != 0) {
      QLIX_COMM_CALL(chain_search, s, length);
    }
  }
  if (s.found) {
    QLIX_COMM_PRINT("HIT: prefix length %u, result 0x%06x\n", s.length, s.result);
  } else {
    QLIX_COMM_PRINT("not found\n");
  }
  return QLIX_COMM_OK;
}

/// What the registers of both address families say of an area.
struct area_setting {
  uint32_t enabled;
  uint32_t base;  // units of 4 KiB
};

template <typename Register>
uint32_t setting_get(uint32_t dev_id, uint32_t area, area_setting& setting) {
  DPP_REG_READ(Register, cfg, dev_id, 0, area);
  setting = {cfg.ddr_en, cfg.ddr_baddr};
  return QLIX_COMM_OK;
}

}  // namespace

uint32_t diag_dpp_se_lpm_search(uint32_t dev_id, uint32_t v46_flag, uint32_t word0, uint32_t word1, uint32_t word2,
                                uint32_t word3, uint32_t word4) {
  const uint32_t words[ADDRESS_WORDS] = {word0, word1, word2, word3, word4};
  const auto get = v46_flag != 0 ? setting_get<dpp_regs::se_lpm_v6_ddr_cfg> : setting_get<dpp_regs::se_lpm_v4_ddr_cfg>;
  uint32_t enabled = 0;
  for (uint32_t area = 0; area < AREA_NUM; ++area) {
    area_setting setting = {};
    QLIX_COMM_CHECK_DEV_RC(dev_id, get(dev_id, area, setting), "dpp_reg_read");
    if (setting.enabled == 0) {
      continue;
    }
    ++enabled;
    route_search s = {};
    s.dev_id = dev_id;
    s.base = uint64_t{setting.base} * DPP_SE_DDR_UNIT_LINES;
    dpp_se_words_to_bytes(words, ADDRESS_WORDS, s.address);
    QLIX_COMM_CALL(area_search, s, area);
  }
  if (enabled == 0) {
    QLIX_COMM_PRINT("no IPv%u area is enabled\n", v46_flag != 0 ? 6u : 4u);
  }
  return QLIX_COMM_OK;
}
