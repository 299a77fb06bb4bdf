// The generated constants behind the register description.
#pragma once

#include "dpp_reg/dpp_name_index.h"
#include "dpp_reg/dpp_reg_info.h"

extern const dpp_reg_info dpp_reg_table[DPP_REG_NUM];
extern const uint32_t dpp_reg_field_num;
extern const dpp_reg_field dpp_reg_field_table[];
extern const dpp_name_slots dpp_reg_name_slots;
extern const uint32_t dpp_reg_text_size;
extern const char dpp_reg_text_pool[];
