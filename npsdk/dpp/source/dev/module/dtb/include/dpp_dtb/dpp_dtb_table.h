// Table commands: what stands in a down block. Every element begins with a 128-bit command word whose layout belongs to
// the table type; data that does not fit the word follows it.
#pragma once

#include <cstdint>
#include <span>

#include "dpp_reg/dpp_reg_types.h"

inline constexpr uint32_t DPP_DTB_CMD_BYTES = 16;
inline constexpr uint32_t DPP_DTB_DATA_MAX = 80;  ///< a ternary entry, the widest

/// Values of type_mode: the block of the chip that executes the command.
inline constexpr uint32_t DPP_DTB_MODE_ERAM = 0;
inline constexpr uint32_t DPP_DTB_MODE_DDR = 1;
inline constexpr uint32_t DPP_DTB_MODE_ZCAM = 2;
inline constexpr uint32_t DPP_DTB_MODE_ETCAM = 3;
inline constexpr uint32_t DPP_DTB_MODE_MC_HASH = 4;

struct dpp_dtb_table_info {
  const char* name;
  std::span<const dpp_format_field> fields;
};
/// Layout of a type: 0 DDR, 1 to 3 eRAM of 1, 64 and 128 bits, 4 zcells, 5 ternary memory, 6 multicast hash. Null with
/// the range error for a type above 6.
const dpp_dtb_table_info* dpp_table_info_get(uint32_t type);

/// Packs the values of a layout's fields, each masked to its length, into the command word.
void dpp_dtb_fields_pack(std::span<const dpp_format_field> fields, const uint32_t* values,
                         uint8_t (&cmd)[DPP_DTB_CMD_BYTES]);
/// The command word of a form, which is one of dpp_formats::dtb_*.
template <typename Form>
void dpp_dtb_table_cmd_pack(const Form& form, uint8_t (&cmd)[DPP_DTB_CMD_BYTES]) {
  static_assert(Form::WIDTH == DPP_DTB_CMD_BYTES);
  dpp_dtb_fields_pack(Form::FIELDS, reinterpret_cast<const uint32_t*>(&form), cmd);
}

/// One element of a block.
struct dpp_dtb_entry {
  uint32_t data_in_cmd_flag;  ///< 1: the command word carries the data
  uint32_t data_size;         ///< bytes of data, for data_mode 2 a single bit
  uint8_t cmd[DPP_DTB_CMD_BYTES];
  uint8_t data[DPP_DTB_DATA_MAX];
};

/// Appends an element at `*offset` bytes of a block of `size` bytes and moves the offset. 0x1205 when it does not fit.
uint32_t dpp_dtb_entry_append(uint8_t* block, uint32_t size, uint32_t* offset, const dpp_dtb_entry* entry);

inline constexpr uint32_t DPP_ERAM_DATA_128 = 0;
inline constexpr uint32_t DPP_ERAM_DATA_64 = 1;
inline constexpr uint32_t DPP_ERAM_DATA_1 = 2;

/// The element that writes one eRAM entry. data_mode 0: `data` is 16 bytes as the chip stores them, most significant
/// first; 1: data[0] is the high, data[1] the low word; 2: bit 0 of data[0]. `index` is the entry number, in entries of
/// that width.
uint32_t dpp_dtb_smmu0_write_entry_data(uint32_t dev_id, uint32_t data_mode, uint32_t index, const uint32_t* data,
                                        dpp_dtb_entry* entry);
/// The same, posted and completed.
uint32_t dpp_dtb_smmu0_write(uint32_t dev_id, uint32_t queue_id, uint32_t data_mode, uint32_t index,
                             const uint32_t* data);

/// Row of 128 bits and column in it of an eRAM entry. eram_mode 0: one bit, 2: 64 bits, 3: 128 bits; 1 gives row 0 and
/// column 0. Above 3: 0x1205.
uint32_t dtb_eram_index_cal(uint32_t dev_id, uint32_t eram_mode, uint32_t index, uint32_t* row, uint32_t* col);
/// Row of an entry of a direct DDR table; combinations that the chip does not have give 0.
uint32_t dpp_ddr_index_calc(uint32_t index, uint32_t width_mode, uint32_t ddr_mode, uint32_t offset);
