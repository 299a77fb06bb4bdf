#include "dpp_reg/dpp_reg.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "dpp_chip/dpp_card_guard.h"
#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_reg/dpp_reg_access.h"
#include "dpp_reg_table.h"
#include "qlix_comm/check.h"

constinit std::atomic<uint32_t> dpp_reg_watches{0};

namespace {

constexpr uint32_t WATCH_FILTER = 1;
constexpr uint32_t WATCH_CAPTURE = 2;

void watch_set(uint32_t watch, bool on) {
  on ? dpp_reg_watches.fetch_or(watch) : dpp_reg_watches.fetch_and(~watch);
}

constexpr uint32_t WORD_WIDTH = 4;
constexpr uint32_t WORDS_MAX = DPP_REG_WIDTH_MAX / WORD_WIDTH;
constexpr uint32_t FIELD_VALUE_BITS = 32;

// Registers without hardware behind them in agent mode.
constexpr uint32_t FILTERED_REGISTERS[] = {661, 662, 663, 3121, 3122};
constinit std::atomic<uint32_t> filter_en{0};

struct capture_window {
  std::atomic<uint32_t> en{0};
  std::atomic<uint32_t> reg_start{0};
  std::atomic<uint32_t> reg_end{0};
};
constinit capture_window capture;

/// Raises the print level while a captured register is accessed.
class capture_scope {
 public:
  explicit capture_scope(uint32_t reg_no)
      : on_(capture.en.load(std::memory_order_relaxed) != 0 && reg_no >= capture.reg_start &&
            reg_no <= capture.reg_end) {
    if (on_) {
      level_ = qlix_comm_get_print_level();
      qlix_comm_set_print_level(QLIX_TRACE_ALL_PRINT);
    }
  }
  capture_scope(const capture_scope&) = delete;
  capture_scope& operator=(const capture_scope&) = delete;
  ~capture_scope() {
    if (on_) {
      qlix_comm_set_print_level(level_);
    }
  }
  bool on() const {
    return on_;
  }

 private:
  bool on_;
  uint32_t level_ = 0;
};

std::span<const dpp_reg_field> fields_of(const dpp_reg_info& info) {
  return {dpp_reg_field_table + info.field_first, info.field_num};
}

uint32_t field_mask(const dpp_reg_field& field) {
  return field.len >= FIELD_VALUE_BITS ? UINT32_MAX : (1u << field.len) - 1;
}

// Most registers are one word.
void word_unpack(const dpp_reg_info& info, uint32_t word, uint32_t* values) {
  for (const dpp_reg_field& field : fields_of(info)) {
    *values++ = word << (31u - field.msb_pos) >> (32u - field.len);
  }
}

// A wider register is one number of width * 8 bits whose words stand most significant word first: bit b stands in word
// count - 1 - b / 32. A field of at most 32 bits touches one word or two neighbours.
void words_pack(const dpp_reg_info& info, const uint32_t* values, uint32_t* words) {
  const uint32_t count = info.width / WORD_WIDTH;
  memset(words, 0, info.width);
  for (const dpp_reg_field& field : fields_of(info)) {
    const uint32_t value = *values++ & field_mask(field);
    if (field.len > FIELD_VALUE_BITS) {
      continue;
    }
    const uint32_t lsb = field.msb_pos + 1u - field.len;
    uint32_t* word = &words[count - 1 - lsb / 32];
    const uint64_t bits = uint64_t{value} << lsb % 32;
    *word |= static_cast<uint32_t>(bits);
    if (bits >> 32 != 0) {
      word[-1] |= static_cast<uint32_t>(bits >> 32);
    }
  }
}

void words_unpack(const dpp_reg_info& info, const uint32_t* words, uint32_t* values) {
  const uint32_t count = info.width / WORD_WIDTH;
  for (const dpp_reg_field& field : fields_of(info)) {
    uint32_t* value = values++;
    if (field.len > FIELD_VALUE_BITS) {
      *value = 0;
      continue;
    }
    const uint32_t lsb = field.msb_pos + 1u - field.len;
    const uint32_t* word = &words[count - 1 - lsb / 32];
    uint64_t bits = *word;
    if (lsb % 32 + field.len > 32) {
      bits |= uint64_t{word[-1]} << 32;
    }
    *value = static_cast<uint32_t>(bits >> lsb % 32) & field_mask(field);
  }
}

uint32_t instance_addr(const dpp_reg_info& info, uint32_t m, uint32_t n, uint32_t* addr) {
  *addr = info.addr;
  if ((info.array_type & DPP_REG_UNARY_ARRAY) != 0) {
    if (n > info.n_size - 1) {
      QLIX_COMM_TRACE_ERROR("reg n_offset is out of range, reg_no:%d, n:%d, size:%d\n", info.reg_no, n, info.n_size);
    }
    QLIX_COMM_CHECK_MUL(n, info.n_step);
    QLIX_COMM_CHECK_ADD(info.addr, n * info.n_step);
    *addr = info.addr + n * info.n_step;
  } else if ((info.array_type & DPP_REG_BINARY_ARRAY) != 0) {
    if (n > info.n_size - 1 || m > info.m_size - 1) {
      QLIX_COMM_TRACE_ERROR("reg n_offset or m_offset is out of range, reg_no:%d, n:%d, n_size:%d, m:%d, m_size:%d,\n",
                            info.reg_no, n, info.n_size, m, info.m_size);
    }
    QLIX_COMM_CHECK_MUL(m, info.m_step);
    QLIX_COMM_CHECK_MUL(n, info.n_step);
    QLIX_COMM_CHECK_ADD(info.addr, m * info.m_step);
    QLIX_COMM_CHECK_ADD(info.addr + m * info.m_step, n * info.n_step);
    *addr = info.addr + m * info.m_step + n * info.n_step;
  }
  return QLIX_COMM_OK;
}

// Whether the register is left alone: filtered in agent mode.
bool is_filtered(uint32_t dev_id, uint32_t reg_no) {
  if (filter_en.load(std::memory_order_relaxed) == 0) [[likely]] {
    return false;
  }
  uint32_t flag = 0;
  dpp_reg_filter_flag_get(dev_id, reg_no, &flag);
  if (flag != 0) {
    QLIX_COMM_TRACE_INFO("reg_no[0x%x] no hardware configuration.\n", reg_no);
  }
  return flag != 0;
}

/// Where one instance is reached, and whether it is the driver's at all.
struct route {
  uint32_t addr;     ///< in the register space
  uint32_t reached;  ///< after the conversion of agent mode
  bool owned_by_agent;
};

inline uint32_t route_find(uint32_t dev_id, const dpp_reg_info& info, uint32_t m, uint32_t n, route* out) {
  QLIX_COMM_PASS(instance_addr(info, m, n, &out->addr));
  out->reached = out->addr;
  const bool agent = dpp_dev_is_agent_mode(dev_id);
  out->owned_by_agent = agent && !dpp_4k_reg(info.mod_no);
  if (agent) {
    QLIX_COMM_CALL(dpp_reg_addr_convert, dev_id, info.mod_no, info.flag, out->addr, &out->reached);
  }
  return QLIX_COMM_OK;
}

inline uint32_t instance_write(uint32_t dev_id, const dpp_reg_info& info, uint32_t m, uint32_t n,
                               const uint32_t* words) {
  route to;
  QLIX_COMM_PASS(route_find(dev_id, info, m, n, &to));
  const capture_scope captured(info.reg_no);
  if (captured.on()) {
    QLIX_COMM_TRACE_DEBUG("dpp_reg_write: addr=0x%08x, data=0x%08x.\n", to.addr, words[0]);
  }
  if (!to.owned_by_agent) {
    QLIX_COMM_CHECK_RC(dpp_reg_hook_write(dev_id, info, to.reached, words), "p_write_fun");
  }
  return QLIX_COMM_OK;
}

inline uint32_t instance_read(uint32_t dev_id, const dpp_reg_info& info, uint32_t m, uint32_t n, uint32_t* words) {
  route from;
  QLIX_COMM_PASS(route_find(dev_id, info, m, n, &from));
  const capture_scope captured(info.reg_no);
  if (from.owned_by_agent) {
    memset(words, 0, info.width);
  } else {
    QLIX_COMM_CHECK_RC(dpp_reg_hook_read(dev_id, info, from.reached, words), "p_read_fun");
  }
  if (captured.on()) {
    QLIX_COMM_TRACE_DEBUG("dpp_reg_read: addr=0x%08x, data=0x%08x.\n", from.addr, words[0]);
  }
  return QLIX_COMM_OK;
}

uint32_t wide_write(uint32_t dev_id, const dpp_reg_info& info, uint32_t m, uint32_t n, const uint32_t* values) {
  DPP_CARD_GUARD(guard, dev_id, dpp_reg_window_mutex(dev_id, info.reg_no));
  QLIX_COMM_PASS(guard.status());
  uint32_t words[WORDS_MAX];
  words_pack(info, values, words);
  return instance_write(dev_id, info, m, n, words);
}

uint32_t wide_words_read(uint32_t dev_id, const dpp_reg_info& info, uint32_t m, uint32_t n, uint32_t* words) {
  DPP_CARD_GUARD(guard, dev_id, dpp_reg_window_mutex(dev_id, info.reg_no));
  return guard.status() != QLIX_COMM_OK ? guard.status() : instance_read(dev_id, info, m, n, words);
}

uint32_t wide_read(uint32_t dev_id, const dpp_reg_info& info, uint32_t m, uint32_t n, uint32_t* values) {
  uint32_t words[WORDS_MAX];
  const uint32_t rc = wide_words_read(dev_id, info, m, n, words);
  if (rc == QLIX_COMM_OK) {
    words_unpack(info, words, values);
  }
  return rc;
}

uint64_t random_next() {
  constinit static std::atomic<uint64_t> state{0x9E3779B97F4A7C15};
  uint64_t z = state.fetch_add(0x9E3779B97F4A7C15);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
  return z ^ (z >> 31);
}

}  // namespace

// Room for fewer values than there are would be written over, or read beyond.
#define DPP_REG_CHECK_ROOM(values, needed) \
  QLIX_COMM_CHECK_POINT((values).data());  \
  QLIX_COMM_CHECK_INDEX_LOWER(static_cast<uint32_t>((values).size()), needed)

uint32_t dpp_reg_write(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset,
                       std::span<const uint32_t> field_values) {
  DPP_REG_CHECK(dev_id, reg_no);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  DPP_REG_CHECK_ROOM(field_values, info.field_num);
  if (is_filtered(dev_id, reg_no)) {
    return QLIX_COMM_OK;
  }
  QLIX_COMM_CHECK_INDEX_UPPER(info.width, DPP_REG_WIDTH_MAX);
  if (info.width == WORD_WIDTH) [[likely]] {
    const uint32_t word = dpp_reg_word_pack(fields_of(info), field_values.data());
    return instance_write(dev_id, info, m_offset, n_offset, &word);
  }
  return wide_write(dev_id, info, m_offset, n_offset, field_values.data());
}

uint32_t dpp_reg_read(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset,
                      std::span<uint32_t> field_values) {
  DPP_REG_CHECK(dev_id, reg_no);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  DPP_REG_CHECK_ROOM(field_values, info.field_num);
  if (is_filtered(dev_id, reg_no)) {
    std::fill_n(field_values.begin(), info.field_num, 0u);
    return QLIX_COMM_OK;
  }
  QLIX_COMM_CHECK_INDEX_UPPER(info.width, DPP_REG_WIDTH_MAX);
  if (info.width == WORD_WIDTH) [[likely]] {
    uint32_t word = 0;
    const uint32_t rc = instance_read(dev_id, info, m_offset, n_offset, &word);
    if (rc == QLIX_COMM_OK) {
      word_unpack(info, word, field_values.data());
    }
    return rc;
  }
  return wide_read(dev_id, info, m_offset, n_offset, field_values.data());
}

uint32_t dpp_reg_read_away(uint32_t dev_id, uint32_t reg_no) {
  DPP_REG_CHECK(dev_id, reg_no);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  uint32_t fields[DPP_REG_FIELD_MAX];
  for (uint32_t m = 0; m < info.m_size; ++m) {
    for (uint32_t n = 0; n < info.n_size; ++n) {
      QLIX_COMM_PASS(dpp_reg_read(dev_id, reg_no, m, n, fields));
    }
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_reg_write32(uint32_t dev_id, uint32_t reg_no, uint32_t value) {
  DPP_REG_CHECK(dev_id, reg_no);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  for (uint32_t m = 0; m < info.m_size; ++m) {
    for (uint32_t n = 0; n < info.n_size; ++n) {
      QLIX_COMM_PASS(dpp_reg_write32_bymn(dev_id, reg_no, m, n, value));
    }
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_reg_write32_bymn(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t value) {
  DPP_REG_CHECK(dev_id, reg_no);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  QLIX_COMM_CHECK_INDEX(info.width, WORD_WIDTH, WORD_WIDTH);
  if (is_filtered(dev_id, reg_no)) {
    return QLIX_COMM_OK;
  }
  return instance_write(dev_id, info, m_offset, n_offset, &value);
}

uint32_t dpp_reg_read32(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t* value) {
  DPP_REG_CHECK(dev_id, reg_no);
  QLIX_COMM_CHECK_POINT(value);
  QLIX_COMM_CHECK_INDEX(dpp_reg_table[reg_no].width, WORD_WIDTH, WORD_WIDTH);
  return dpp_reg_words_read(dev_id, reg_no, m_offset, n_offset, {value, 1});
}

uint32_t dpp_reg_words_read(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset,
                            std::span<uint32_t> words) {
  DPP_REG_CHECK(dev_id, reg_no);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  DPP_REG_CHECK_ROOM(words, info.width / WORD_WIDTH);
  if (is_filtered(dev_id, reg_no)) {
    std::fill_n(words.begin(), info.width / WORD_WIDTH, 0u);
    return QLIX_COMM_OK;
  }
  return info.width == WORD_WIDTH ? instance_read(dev_id, info, m_offset, n_offset, words.data())
                                  : wide_words_read(dev_id, info, m_offset, n_offset, words.data());
}

uint32_t dpp_reg_get_reg_addr(uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t* addr) {
  QLIX_COMM_CHECK_INDEX_UPPER(reg_no, DPP_REG_NUM - 1);
  QLIX_COMM_CHECK_POINT(addr);
  return instance_addr(dpp_reg_table[reg_no], m_offset, n_offset, addr);
}

uint32_t dpp_reg_val_get(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset,
                         std::span<uint32_t> field_values) {
  return QLIX_COMM_CALLED(dpp_reg_read, dev_id, reg_no, m_offset, n_offset, field_values);
}

// The bodies of the three, so that their own names stand in the lines of their checks.
#define REG_FIELDS_FILL(reg_no, field_values, value_of_field)           \
  QLIX_COMM_CHECK_INDEX_UPPER(reg_no, DPP_REG_NUM - 1);                 \
  DPP_REG_CHECK_ROOM(field_values, dpp_reg_table[reg_no].field_num);    \
  uint32_t* value = (field_values).data();                              \
  for (const dpp_reg_field& field : fields_of(dpp_reg_table[reg_no])) { \
    *value++ = (value_of_field);                                        \
  }                                                                     \
  return QLIX_COMM_OK

uint32_t dpp_reg_default_val_get(uint32_t reg_no, std::span<uint32_t> field_values) {
  REG_FIELDS_FILL(reg_no, field_values, field.default_value);
}

uint32_t dpp_reg_max_val_get(uint32_t reg_no, std::span<uint32_t> field_values) {
  REG_FIELDS_FILL(reg_no, field_values, field_mask(field));
}

uint32_t dpp_reg_rand_val_get(uint32_t reg_no, std::span<uint32_t> field_values) {
  REG_FIELDS_FILL(reg_no, field_values, static_cast<uint32_t>(random_next()) & field_mask(field));
}

uint32_t dpp_reg_cap_cfg_set(uint32_t en, uint32_t reg_start, uint32_t reg_end) {
  QLIX_COMM_CHECK_INDEX_UPPER(en, 1);
  QLIX_COMM_CHECK_INDEX_UPPER(reg_start, DPP_REG_NUM - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(reg_end, DPP_REG_NUM - 1);
  capture.en = en;
  capture.reg_start = reg_start;
  capture.reg_end = reg_end;
  watch_set(WATCH_CAPTURE, en != 0);
  QLIX_COMM_PRINT("REG CAPTURE CFG: en:%d, reg_start:%d[0x%x], reg_end:%d[0x%x],\n", en, reg_start, reg_start, reg_end,
                  reg_end);
  return QLIX_COMM_OK;
}

uint32_t dpp_reg_filter_en_set(uint32_t en) {
  filter_en = en;
  watch_set(WATCH_FILTER, en != 0);
  return QLIX_COMM_OK;
}

uint32_t dpp_reg_filter_en_get() {
  return filter_en;
}

uint32_t dpp_reg_filter_flag_get(uint32_t dev_id, uint32_t reg_no, uint32_t* flag) {
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_POINT(flag);
  *flag = 0;
  if (filter_en.load(std::memory_order_relaxed) == 0) {
    return QLIX_COMM_OK;
  }
  const dpp_dev_cfg* dev = dpp_dev_cfg_get(dev_id);
  if (dev == nullptr || dev->access_type != DPP_DEV_ACCESS_TYPE_PCIE || !dpp_dev_is_agent_mode(dev_id)) {
    return QLIX_COMM_OK;
  }
  for (const uint32_t filtered : FILTERED_REGISTERS) {
    *flag |= filtered == reg_no ? 1 : 0;
  }
  return QLIX_COMM_OK;
}
