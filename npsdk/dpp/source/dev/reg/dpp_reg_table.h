// The generated constants behind the register description.
#pragma once

#include "dpp_reg/dpp_reg_info.h"
#include "gen/dpp_reg_hash.h"

extern const dpp_reg_info dpp_reg_table[DPP_REG_NUM];
extern const uint32_t dpp_reg_field_num;
extern const dpp_reg_field dpp_reg_field_table[];
extern const uint16_t dpp_reg_name_slots[DPP_REG_NAME_SLOTS];
extern const uint32_t dpp_reg_text_size;
extern const char dpp_reg_text_pool[];
