// The generated constants behind the register description.
#pragma once

#include "dpp_reg/dpp_reg_info.h"

extern const dpp_reg_info dpp_reg_table[DPP_REG_NUM];
extern const uint32_t dpp_reg_field_num;
extern const dpp_reg_field dpp_reg_field_table[];
extern const uint32_t dpp_reg_text_size;
extern const char dpp_reg_text_pool[];

/// The fields of a register of one word, cut to length and placed by two shifts each.
inline uint32_t dpp_reg_word_pack(std::span<const dpp_reg_field> fields, const uint32_t* values) {
  uint32_t word = 0;
  for (const dpp_reg_field& field : fields) {
    word |= *values++ << (32u - field.len) >> (31u - field.msb_pos);
  }
  return word;
}

#define DPP_REG_CHECK(dev_id, reg_no)                   \
  QLIX_COMM_CHECK_INDEX_UPPER(dev_id, DPP_DEV_MAX - 1); \
  QLIX_COMM_CHECK_INDEX_UPPER(reg_no, DPP_REG_NUM - 1)
