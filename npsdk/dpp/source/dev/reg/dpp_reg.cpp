#include "dpp_reg/dpp_reg.h"

#include <atomic>
#include <bit>
#include <cstring>

#include "dpp_chip/dpp_dev.h"
#include "dpp_chip/dpp_dev_value.h"
#include "dpp_reg/dpp_reg_access.h"
#include "dpp_reg_table.h"
#include "qlix_comm/bits.h"
#include "qlix_comm/check.h"

namespace {

constexpr uint32_t WORD_WIDTH = 4;
constexpr uint32_t WORDS_MAX = DPP_REG_WIDTH_MAX / WORD_WIDTH;
constexpr uint32_t FIELD_VALUE_BITS = 32;

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

// The words of a register are a big-endian byte string for the bit operations and host words on the bus.
void words_swap(uint32_t* words, uint32_t count) {
  if constexpr (std::endian::native == std::endian::little) {
    for (uint32_t i = 0; i < count; ++i) {
      words[i] = __builtin_bswap32(words[i]);
    }
  }
}

uint32_t field_mask(const dpp_reg_field& field) {
  return field.len >= FIELD_VALUE_BITS ? UINT32_MAX : (1u << field.len) - 1;
}

uint32_t fields_pack(const dpp_reg_info& info, const uint32_t* values, uint32_t* words) {
  auto* bytes = reinterpret_cast<uint8_t*>(words);
  memset(bytes, 0, info.width);
  for (const dpp_reg_field& field : dpp_reg_fields_get(info)) {
    const uint32_t value = *values++;
    if (field.len > FIELD_VALUE_BITS) {
      continue;
    }
    QLIX_COMM_CHECK_RC(
        qlix_comm_write_bits_ex(bytes, info.width * 8, value & field_mask(field), field.msb_pos, field.len),
        "qlix_comm_write_bits_ex");
  }
  words_swap(words, info.width / WORD_WIDTH);
  return QLIX_COMM_OK;
}

uint32_t fields_unpack(const dpp_reg_info& info, uint32_t* words, uint32_t* values) {
  words_swap(words, info.width / WORD_WIDTH);
  const auto* bytes = reinterpret_cast<const uint8_t*>(words);
  for (const dpp_reg_field& field : dpp_reg_fields_get(info)) {
    uint32_t* value = values++;
    *value = 0;
    if (field.len > FIELD_VALUE_BITS) {
      continue;
    }
    QLIX_COMM_CHECK_RC(qlix_comm_read_bits_ex(bytes, info.width * 8, value, field.msb_pos, field.len),
                       "qlix_comm_read_bits_ex");
  }
  return QLIX_COMM_OK;
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
uint32_t filtered_check(uint32_t dev_id, uint32_t reg_no, bool* filtered) {
  uint32_t flag = 0;
  QLIX_COMM_CHECK_RC(dpp_reg_filter_flag_get(dev_id, reg_no, &flag), "dpp_reg_filter_flag_get");
  *filtered = flag != 0;
  if (*filtered) {
    QLIX_COMM_TRACE_INFO("reg_no[0x%x] no hardware configuration.\n", reg_no);
  }
  return QLIX_COMM_OK;
}

// Whether agent mode leaves the register to the management processor.
uint32_t agent_owned_check(uint32_t dev_id, const dpp_reg_info& info, bool* owned) {
  uint32_t agent = 0;
  QLIX_COMM_CHECK_RC(dpp_dev_get_dev_agent_flag(dev_id, &agent), "dpp_dev_get_dev_agent_flag");
  *owned = agent != 0 && !dpp_4k_reg(info.mod_no);
  return QLIX_COMM_OK;
}

uint32_t instance_write(uint32_t dev_id, const dpp_reg_info& info, uint32_t m, uint32_t n, const uint32_t* words) {
  uint32_t addr = 0;
  uint32_t rc = instance_addr(info, m, n, &addr);
  if (rc != QLIX_COMM_OK) {
    return rc;
  }
  const capture_scope captured(info.reg_no);
  if (captured.on()) {
    QLIX_COMM_TRACE_DEBUG("dpp_reg_write: addr=0x%08x, data=0x%08x.\n", addr, words[0]);
  }
  bool owned = false;
  rc = agent_owned_check(dev_id, info, &owned);
  if (rc != QLIX_COMM_OK || owned) {
    return rc;
  }
  QLIX_COMM_CHECK_RC(dpp_reg_addr_convert(dev_id, info.mod_no, info.flag, addr, &addr), "dpp_reg_addr_convert");
  QLIX_COMM_CHECK_RC(dpp_reg_hook_write(dev_id, info, addr, words), "p_write_fun");
  return QLIX_COMM_OK;
}

uint32_t instance_read(uint32_t dev_id, const dpp_reg_info& info, uint32_t m, uint32_t n, uint32_t* words) {
  memset(words, 0, info.width);
  uint32_t addr = 0;
  uint32_t rc = instance_addr(info, m, n, &addr);
  if (rc != QLIX_COMM_OK) {
    return rc;
  }
  const capture_scope captured(info.reg_no);
  bool owned = false;
  rc = agent_owned_check(dev_id, info, &owned);
  if (rc != QLIX_COMM_OK) {
    return rc;
  }
  if (!owned) {
    uint32_t converted = 0;
    QLIX_COMM_CHECK_RC(dpp_reg_addr_convert(dev_id, info.mod_no, info.flag, addr, &converted), "dpp_reg_addr_convert");
    QLIX_COMM_CHECK_RC(dpp_reg_hook_read(dev_id, info, converted, words), "p_read_fun");
  }
  if (captured.on()) {
    QLIX_COMM_TRACE_DEBUG("dpp_reg_read: addr=0x%08x, data=0x%08x.\n", addr, words[0]);
  }
  return QLIX_COMM_OK;
}

uint64_t random_next() {
  constinit static std::atomic<uint64_t> state{0x9E3779B97F4A7C15};
  uint64_t z = state.fetch_add(0x9E3779B97F4A7C15);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
  return z ^ (z >> 31);
}

}  // namespace

#define DPP_REG_CHECK(dev_id, reg_no)                   \
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1); \
  QLIX_COMM_CHECK_INDEX_UPPER(reg_no, DPP_REG_NUM - 1)

uint32_t dpp_reg_write(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset,
                       const uint32_t* field_values) {
  DPP_REG_CHECK(dev_id, reg_no);
  QLIX_COMM_CHECK_POINT(field_values);
  bool filtered = false;
  uint32_t rc = filtered_check(dev_id, reg_no, &filtered);
  if (rc != QLIX_COMM_OK || filtered) {
    return rc;
  }
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  QLIX_COMM_CHECK_INDEX_UPPER(info.width, DPP_REG_WIDTH_MAX);
  uint32_t words[WORDS_MAX];
  rc = fields_pack(info, field_values, words);
  return rc != QLIX_COMM_OK ? rc : instance_write(dev_id, info, m_offset, n_offset, words);
}

uint32_t dpp_reg_read(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t* field_values) {
  DPP_REG_CHECK(dev_id, reg_no);
  QLIX_COMM_CHECK_POINT(field_values);
  bool filtered = false;
  uint32_t rc = filtered_check(dev_id, reg_no, &filtered);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  if (rc != QLIX_COMM_OK || filtered) {
    memset(field_values, 0, info.field_num * sizeof *field_values);
    return rc;
  }
  QLIX_COMM_CHECK_INDEX_UPPER(info.width, DPP_REG_WIDTH_MAX);
  uint32_t words[WORDS_MAX];
  rc = instance_read(dev_id, info, m_offset, n_offset, words);
  return rc != QLIX_COMM_OK ? rc : fields_unpack(info, words, field_values);
}

uint32_t dpp_reg_write32(uint32_t dev_id, uint32_t reg_no, uint32_t value) {
  DPP_REG_CHECK(dev_id, reg_no);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  for (uint32_t m = 0; m < info.m_size; ++m) {
    for (uint32_t n = 0; n < info.n_size; ++n) {
      const uint32_t rc = dpp_reg_write32_bymn(dev_id, reg_no, m, n, value);
      if (rc != QLIX_COMM_OK) {
        return rc;
      }
    }
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_reg_write32_bymn(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t value) {
  DPP_REG_CHECK(dev_id, reg_no);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  QLIX_COMM_CHECK_INDEX(info.width, WORD_WIDTH, WORD_WIDTH);
  bool filtered = false;
  const uint32_t rc = filtered_check(dev_id, reg_no, &filtered);
  return rc != QLIX_COMM_OK || filtered ? rc : instance_write(dev_id, info, m_offset, n_offset, &value);
}

uint32_t dpp_reg_read32(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t* value) {
  DPP_REG_CHECK(dev_id, reg_no);
  QLIX_COMM_CHECK_POINT(value);
  QLIX_COMM_CHECK_INDEX(dpp_reg_table[reg_no].width, WORD_WIDTH, WORD_WIDTH);
  return dpp_reg_words_read(dev_id, reg_no, m_offset, n_offset, value);
}

uint32_t dpp_reg_words_read(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t* words) {
  DPP_REG_CHECK(dev_id, reg_no);
  QLIX_COMM_CHECK_POINT(words);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  bool filtered = false;
  const uint32_t rc = filtered_check(dev_id, reg_no, &filtered);
  if (rc != QLIX_COMM_OK || filtered) {
    memset(words, 0, info.width);
    return rc;
  }
  return instance_read(dev_id, info, m_offset, n_offset, words);
}

uint32_t dpp_reg_get_reg_addr(uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t* addr) {
  QLIX_COMM_CHECK_INDEX_UPPER(reg_no, DPP_REG_NUM - 1);
  QLIX_COMM_CHECK_POINT(addr);
  return instance_addr(dpp_reg_table[reg_no], m_offset, n_offset, addr);
}

uint32_t dpp_reg_val_get(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset,
                         uint32_t* field_values) {
  QLIX_COMM_CHECK_RC(dpp_reg_read(dev_id, reg_no, m_offset, n_offset, field_values), "dpp_reg_read");
  return QLIX_COMM_OK;
}

uint32_t dpp_reg_default_val_get(uint32_t reg_no, uint32_t* field_values) {
  QLIX_COMM_CHECK_INDEX_UPPER(reg_no, DPP_REG_NUM - 1);
  QLIX_COMM_CHECK_POINT(field_values);
  for (const dpp_reg_field& field : dpp_reg_fields_get(dpp_reg_table[reg_no])) {
    *field_values++ = field.default_value;
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_reg_max_val_get(uint32_t reg_no, uint32_t* field_values) {
  QLIX_COMM_CHECK_INDEX_UPPER(reg_no, DPP_REG_NUM - 1);
  QLIX_COMM_CHECK_POINT(field_values);
  for (const dpp_reg_field& field : dpp_reg_fields_get(dpp_reg_table[reg_no])) {
    *field_values++ = field_mask(field);
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_reg_rand_val_get(uint32_t reg_no, uint32_t* field_values) {
  QLIX_COMM_CHECK_INDEX_UPPER(reg_no, DPP_REG_NUM - 1);
  QLIX_COMM_CHECK_POINT(field_values);
  for (const dpp_reg_field& field : dpp_reg_fields_get(dpp_reg_table[reg_no])) {
    *field_values++ = static_cast<uint32_t>(random_next()) & field_mask(field);
  }
  return QLIX_COMM_OK;
}

uint32_t dpp_reg_cap_cfg_set(uint32_t en, uint32_t reg_start, uint32_t reg_end) {
  QLIX_COMM_CHECK_INDEX_UPPER(en, 1);
  QLIX_COMM_CHECK_INDEX_UPPER(reg_start, DPP_REG_NUM - 1);
  QLIX_COMM_CHECK_INDEX_UPPER(reg_end, DPP_REG_NUM - 1);
  capture.en = en;
  capture.reg_start = reg_start;
  capture.reg_end = reg_end;
  QLIX_COMM_PRINT("REG CAPTURE CFG: en:%d, reg_start:%d[0x%x], reg_end:%d[0x%x],\n", en, reg_start, reg_start, reg_end,
                  reg_end);
  return QLIX_COMM_OK;
}
