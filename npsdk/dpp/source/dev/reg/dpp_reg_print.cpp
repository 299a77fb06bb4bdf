#include "dpp_reg/dpp_reg_print.h"

#include "dpp_chip/dpp_dev.h"
#include "dpp_reg/dpp_reg.h"
#include "dpp_reg_table.h"
#include "qlix_comm/check.h"

namespace {

/// How one instance is shown.
enum class shape { fields, fields_changed, fields_with_default, words };

// The line of every counter and field.
void counter_print(const char* name, uint32_t value) {
  QLIX_COMM_PRINT("%-40s: 0x%08x\n", name, value);
}

void heading_print(const dpp_reg_info& info, uint32_t m, uint32_t n) {
  if ((info.array_type & DPP_REG_BINARY_ARRAY) != 0) {
    QLIX_COMM_PRINT("M:%d, N:%d\n", m, n);
  } else if ((info.array_type & DPP_REG_UNARY_ARRAY) != 0) {
    QLIX_COMM_PRINT("N:%d\n", n);
  }
}

uint32_t fields_print(uint32_t dev_id, const dpp_reg_info& info, uint32_t m, uint32_t n, shape how) {
  uint32_t values[DPP_REG_FIELD_MAX];
  QLIX_COMM_CALL(dpp_reg_read, dev_id, info.reg_no, m, n, values);
  heading_print(info, m, n);
  const uint32_t* value = values;
  for (const dpp_reg_field& field : dpp_reg_fields_get(info)) {
    const char* name = dpp_reg_text_get(field.name);
    if (how == shape::fields_with_default) {
      QLIX_COMM_PRINT("%-40s: 0x%08x, default: 0x%08x\n", name, *value, field.default_value);
    } else if (how == shape::fields || *value != field.default_value) {
      counter_print(name, *value);
    }
    ++value;
  }
  return QLIX_COMM_OK;
}

uint32_t words_print(uint32_t dev_id, const dpp_reg_info& info, uint32_t m, uint32_t n) {
  constexpr uint32_t WORDS_A_LINE = 4;
  uint32_t words[DPP_REG_WIDTH_MAX / 4];
  QLIX_COMM_CALL(dpp_reg_words_read, dev_id, info.reg_no, m, n, words);
  heading_print(info, m, n);
  const uint32_t count = info.width / 4;
  for (uint32_t i = 0; i < count; ++i) {
    const bool line_end = i % WORDS_A_LINE == WORDS_A_LINE - 1 || i == count - 1;
    QLIX_COMM_PRINT("0x%08x%s", words[i], line_end ? "\n" : " ");
  }
  return QLIX_COMM_OK;
}

uint32_t instance_print(uint32_t dev_id, const dpp_reg_info& info, uint32_t m, uint32_t n, shape how) {
  return how == shape::words ? words_print(dev_id, info, m, n) : fields_print(dev_id, info, m, n, how);
}

uint32_t register_print(uint32_t dev_id, const dpp_reg_info& info, shape how) {
  for (uint32_t m = 0; m < info.m_size; ++m) {
    for (uint32_t n = 0; n < info.n_size; ++n) {
      QLIX_COMM_PASS(instance_print(dev_id, info, m, n, how));
    }
  }
  return QLIX_COMM_OK;
}

void title_print(const dpp_reg_info& info) {
  QLIX_COMM_PRINT("reg_no:%d, name:%s\n", info.reg_no, dpp_reg_text_get(info.name));
}

bool has_instance(const dpp_reg_info& info, uint32_t m, uint32_t n) {
  return m < info.m_size && n < info.n_size;
}

}  // namespace

#define DPP_REGS_DUMP_CHECK(dev_id, reg_first, reg_last) \
  DPP_REG_CHECK(dev_id, reg_first);                      \
  QLIX_COMM_CHECK_INDEX_UPPER(reg_last, DPP_REG_NUM - 1)

uint32_t dpp_reg_info_prt(uint32_t reg_no, uint32_t m_offset, uint32_t n_offset) {
  QLIX_COMM_CHECK_INDEX_UPPER(reg_no, DPP_REG_NUM - 1);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  uint32_t addr = 0;
  QLIX_COMM_CALL(dpp_reg_get_reg_addr, reg_no, m_offset, n_offset, &addr);
  QLIX_COMM_PRINT("name       : %s\n", dpp_reg_text_get(info.name));
  QLIX_COMM_PRINT("reg_no     : %d\n", info.reg_no);
  QLIX_COMM_PRINT("mod_no     : %d\n", info.mod_no);
  QLIX_COMM_PRINT("flag       : 0x%08x\n", info.flag);
  QLIX_COMM_PRINT("array_type : 0x%08x\n", info.array_type);
  QLIX_COMM_PRINT("width      : %d\n", info.width);
  QLIX_COMM_PRINT("field_num  : %d\n", info.field_num);
  QLIX_COMM_PRINT("addr       : 0x%08x\n", addr);
  QLIX_COMM_PRINT("RW_flag    : 0x%08x\n", dpp_reg_fields_get(info)[0].flag);
  return QLIX_COMM_OK;
}

uint32_t dpp_reg_fields_print(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset) {
  DPP_REG_CHECK(dev_id, reg_no);
  return fields_print(dev_id, dpp_reg_table[reg_no], m_offset, n_offset, shape::fields);
}

uint32_t dpp_reg_fields_print_all(uint32_t dev_id, uint32_t reg_no) {
  DPP_REG_CHECK(dev_id, reg_no);
  return register_print(dev_id, dpp_reg_table[reg_no], shape::fields);
}

uint32_t dpp_reg_fields_vld_print(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset) {
  DPP_REG_CHECK(dev_id, reg_no);
  return fields_print(dev_id, dpp_reg_table[reg_no], m_offset, n_offset, shape::fields_changed);
}

uint32_t dpp_reg_fields_print_with_def(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset) {
  DPP_REG_CHECK(dev_id, reg_no);
  return fields_print(dev_id, dpp_reg_table[reg_no], m_offset, n_offset, shape::fields_with_default);
}

uint32_t dpp_reg_print32(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset) {
  DPP_REG_CHECK(dev_id, reg_no);
  return words_print(dev_id, dpp_reg_table[reg_no], m_offset, n_offset);
}

uint32_t dpp_reg_print_more(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t num) {
  DPP_REG_CHECK(dev_id, reg_no);
  const dpp_reg_info& info = dpp_reg_table[reg_no];
  uint32_t m = m_offset;
  uint32_t n = n_offset;
  for (uint32_t i = 0; i < num && has_instance(info, m, n); ++i) {
    QLIX_COMM_PASS(words_print(dev_id, info, m, n));
    if (++n == info.n_size) {
      n = 0;
      ++m;
    }
  }
  return QLIX_COMM_OK;
}

namespace {

uint32_t range_print(uint32_t dev_id, uint32_t reg_first, uint32_t reg_last, shape how) {
  for (uint32_t reg_no = reg_first; reg_no <= reg_last; ++reg_no) {
    title_print(dpp_reg_table[reg_no]);
    QLIX_COMM_PASS(register_print(dev_id, dpp_reg_table[reg_no], how));
  }
  return QLIX_COMM_OK;
}

uint32_t range_print_bymn(uint32_t dev_id, uint32_t reg_first, uint32_t reg_last, uint32_t m, uint32_t n, shape how) {
  for (uint32_t reg_no = reg_first; reg_no <= reg_last; ++reg_no) {
    const dpp_reg_info& info = dpp_reg_table[reg_no];
    if (!has_instance(info, m, n)) {
      continue;
    }
    title_print(info);
    QLIX_COMM_PASS(instance_print(dev_id, info, m, n, how));
  }
  return QLIX_COMM_OK;
}

}  // namespace

// A command of the tool: like all of them it tells both ends of a range.
uint32_t dpp_regs_print(uint32_t dev_id, uint32_t reg_first, uint32_t reg_last) {
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, dev_id, 0, DPP_DEV_MAX - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, reg_first, 0, DPP_REG_NUM - 1);
  QLIX_COMM_CHECK_DEV_INDEX(dev_id, reg_last, 0, DPP_REG_NUM - 1);
  return QLIX_COMM_CALLED(range_print, dev_id, reg_first, reg_last, shape::fields);
}

uint32_t dpp_regs_dump(uint32_t dev_id, uint32_t reg_first, uint32_t reg_last) {
  DPP_REGS_DUMP_CHECK(dev_id, reg_first, reg_last);
  return range_print(dev_id, reg_first, reg_last, shape::words);
}

uint32_t dpp_regs_dump_bymn(uint32_t dev_id, uint32_t reg_first, uint32_t reg_last, uint32_t m_offset,
                            uint32_t n_offset) {
  DPP_REGS_DUMP_CHECK(dev_id, reg_first, reg_last);
  return range_print_bymn(dev_id, reg_first, reg_last, m_offset, n_offset, shape::words);
}

uint32_t dpp_regs_fields_dump_bymn(uint32_t dev_id, uint32_t reg_first, uint32_t reg_last, uint32_t m_offset,
                                   uint32_t n_offset) {
  DPP_REGS_DUMP_CHECK(dev_id, reg_first, reg_last);
  return range_print_bymn(dev_id, reg_first, reg_last, m_offset, n_offset, shape::fields);
}

uint32_t dpp_reg_help() {
  static constexpr const char TEXT[] =
      "dpp_reg_write32(dev_id, reg_no, data)\n"
      "dpp_reg_write32_bymn(dev_id, reg_no, m_offset, n_offset, data)\n"
      "dpp_reg_print32(dev_id, reg_no, m_offset, n_offset)\n"
      "dpp_reg_print_more(dev_id, reg_no, m_offset, n_offset, num)\n"
      "dpp_reg_info_prt(reg_no, m_offset, n_offset)\n"
      "dpp_reg_fields_print(dev_id, reg_no, m_offset, n_offset)\n"
      "dpp_reg_fields_print_all(dev_id, reg_no)\n"
      "dpp_reg_fields_vld_print(dev_id, reg_no, m_offset, n_offset)\n"
      "dpp_reg_fields_print_with_def(dev_id, reg_no, m_offset, n_offset)\n"
      "dpp_regs_print(dev_id, reg_first, reg_last)\n"
      "dpp_regs_dump(dev_id, reg_first, reg_last)\n"
      "dpp_regs_dump_bymn(dev_id, reg_first, reg_last, m_offset, n_offset)\n"
      "dpp_regs_fields_dump_bymn(dev_id, reg_first, reg_last, m_offset, n_offset)\n"
      "dpp_reg_cap_cfg_set(en, reg_start, reg_end)\n"
      "dpp_reg_filter_en_set(en)\n";
  QLIX_COMM_PRINT("%s", TEXT);
  return QLIX_COMM_OK;
}
