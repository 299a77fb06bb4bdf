// Table numbers: micro-code names a table by its number, and the number's record says what kind of table that is and
// where it lies. 256 records of 64 bits. All return 0, 0x1205 for a number or value out of range, 0x1201 for a null
// pointer, or the code of the access that failed.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <span>

#include "dpp_reg/dpp_reg_types.h"

inline constexpr uint32_t DPP_SDT_NUM = 256;

enum dpp_sdt_type : uint32_t {
  DPP_SDT_NONE = 0,
  DPP_SDT_ERAM = 1,
  DPP_SDT_DDR = 2,
  DPP_SDT_HASH = 3,
  DPP_SDT_LPM = 4,
  DPP_SDT_ETCAM = 5,
};
inline constexpr uint32_t DPP_SDT_TYPE_MAX = DPP_SDT_ETCAM;

/// "eRAM" and so on; "unknown" above DPP_SDT_TYPE_MAX.
const char* dpp_sdt_type_name(uint32_t type);
/// Fields of a type without the type itself; none for DPP_SDT_NONE and above DPP_SDT_TYPE_MAX.
std::span<const dpp_format_field> dpp_sdt_fields(uint32_t type);

uint32_t dpp_sdt_type_of(uint64_t record);
/// Value of a field of the record's type.
uint32_t dpp_sdt_field_get(uint64_t record, const dpp_format_field& field);
/// All of them, for a record whose type is that of the form, one of dpp_formats::sdt_*.
template <typename Form>
Form dpp_sdt_get(uint64_t record) {
  std::array<uint32_t, std::size(Form::FIELDS)> values;
  std::transform(std::begin(Form::FIELDS), std::end(Form::FIELDS), values.begin(),
                 [record](const dpp_format_field& field) { return dpp_sdt_field_get(record, field); });
  return std::bit_cast<Form>(values);
}
/// The record of a table; 0x1205 for a value that does not fit its field or another number of values.
uint32_t dpp_sdt_pack(uint32_t type, std::span<const uint32_t> values, uint64_t* record);

uint32_t dpp_sdt_tbl_get(uint32_t dev_id, uint32_t sdt_no, uint64_t* record);
uint32_t dpp_sdt_tbl_set(uint32_t dev_id, uint32_t sdt_no, uint64_t record);

// Tables whose entries are counted: eRAM, DDR and ternary tables. Words of an entry stand from word 0 on; a ternary
// entry has its data in the first half of the words and its mask from DPP_SDT_MASK_WORD on.
inline constexpr uint32_t DPP_SDT_ENTRY_WORDS = 40;
inline constexpr uint32_t DPP_SDT_MASK_WORD = 20;
struct dpp_sdt_entry {
  uint32_t words[DPP_SDT_ENTRY_WORDS];
  uint32_t word_num;  ///< that the table's width uses; of a ternary entry those of its data
  uint32_t valid;     ///< ternary entries: 1 when all its parts are valid
};
/// `index` beyond the table's depth, or a table whose entries are not counted: 0x1205.
uint32_t dpp_sdt_entry_get(uint32_t dev_id, uint64_t record, uint32_t index, dpp_sdt_entry* entry);
uint32_t dpp_sdt_entry_set(uint32_t dev_id, uint64_t record, uint32_t index, const dpp_sdt_entry* entry);
