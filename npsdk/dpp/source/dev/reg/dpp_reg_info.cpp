#include "dpp_reg/dpp_reg_info.h"

#include <cstdio>

#include "dpp_reg_table.h"
#include "qlix_comm/check.h"

const dpp_reg_info* dpp_reg_info_get(uint32_t reg_no) {
  if (reg_no >= DPP_REG_NUM) {
    qlix_comm_detail::report_upper(QLIX_COMM_HERE, reg_no, DPP_REG_NUM - 1);
    return nullptr;
  }
  return &dpp_reg_table[reg_no];
}

const char* dpp_reg_text_get(uint32_t offset) {
  return offset < dpp_reg_text_size ? dpp_reg_text_pool + offset : "";
}

std::span<const dpp_reg_field> dpp_reg_fields_get(const dpp_reg_info& info) {
  return {dpp_reg_field_table + info.field_first, info.field_num};
}

bool dpp_reg_is_described(const dpp_reg_info& info) {
  return info.field_first != 0;
}

uint64_t dpp_reg_instance_num_get(const dpp_reg_info& info) {
  return uint64_t{info.m_size} * info.n_size;
}

void dpp_reg_instance_name_get(const dpp_reg_info& info, uint32_t m, uint32_t n, std::span<char> out) {
  const char* name = dpp_reg_text_get(info.name);
  if ((info.array_type & DPP_REG_BINARY_ARRAY) != 0) {
    snprintf(out.data(), out.size(), "%s[%u][%u]", name, m, n);
  } else if (info.array_type != 0) {
    snprintf(out.data(), out.size(), "%s[%u]", name, n);
  } else {
    snprintf(out.data(), out.size(), "%s", name);
  }
}

uint32_t dpp_reg_width_get(uint32_t reg_no) {
  const dpp_reg_info* info = dpp_reg_info_get(reg_no);
  return info != nullptr ? info->width : 0;
}

const char* dpp_reg_name_get(uint32_t reg_no) {
  const dpp_reg_info* info = dpp_reg_info_get(reg_no);
  return info != nullptr ? dpp_reg_text_get(info->name) : nullptr;
}

uint32_t dpp_reg_module_no_get(uint32_t reg_no) {
  const dpp_reg_info* info = dpp_reg_info_get(reg_no);
  return info != nullptr ? info->mod_no : DPP_REG_NO_NONE;
}
