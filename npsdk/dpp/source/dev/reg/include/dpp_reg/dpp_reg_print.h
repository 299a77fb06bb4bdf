// Registers on the screen. Each instance of an array is headed by "N:%d" or "M:%d, N:%d"; a register that cannot be
// read ends the print with the code of the read. Ranges name register numbers; a first number above the last prints
// nothing and succeeds.
#pragma once

#include <cstdint>

/// The row itself: name, numbers, width, instance address, flags.
uint32_t dpp_reg_info_prt(uint32_t reg_no, uint32_t m_offset, uint32_t n_offset);
/// Every field of one instance.
uint32_t dpp_reg_fields_print(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset);
/// Every field of every instance.
uint32_t dpp_reg_fields_print_all(uint32_t dev_id, uint32_t reg_no);
/// Of one instance the fields that do not hold their reset value.
uint32_t dpp_reg_fields_vld_print(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset);
/// Every field of one instance beside its reset value.
uint32_t dpp_reg_fields_print_with_def(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset);
/// One instance as raw words.
uint32_t dpp_reg_print32(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset);
/// `num` instances from (m, n) on, n running fastest, as raw words. Stops at the end of the array.
uint32_t dpp_reg_print_more(uint32_t dev_id, uint32_t reg_no, uint32_t m_offset, uint32_t n_offset, uint32_t num);
/// The fields of every instance of the registers reg_first to reg_last.
uint32_t dpp_regs_print(uint32_t dev_id, uint32_t reg_first, uint32_t reg_last);
/// The raw words of every instance of the registers reg_first to reg_last.
uint32_t dpp_regs_dump(uint32_t dev_id, uint32_t reg_first, uint32_t reg_last);
/// The raw words of instance (m, n) of the registers reg_first to reg_last; registers without it are left out.
uint32_t dpp_regs_dump_bymn(uint32_t dev_id, uint32_t reg_first, uint32_t reg_last, uint32_t m_offset,
                            uint32_t n_offset);
/// The fields of instance (m, n) of the registers reg_first to reg_last; registers without it are left out.
uint32_t dpp_regs_fields_dump_bymn(uint32_t dev_id, uint32_t reg_first, uint32_t reg_last, uint32_t m_offset,
                                   uint32_t n_offset);
/// How each operation is called.
uint32_t dpp_reg_help();
