// Table commands: what stands in a down block. Every element begins with a 128-bit command word whose layout belongs to
// the table type; data that does not fit the word follows it.
#pragma once

#include <cstdint>
#include <span>

inline constexpr uint32_t DPP_DTB_CMD_BYTES = 16;
inline constexpr uint32_t DPP_DTB_DATA_MAX = 80;  ///< a ternary entry, the widest

enum dpp_dtb_table_type : uint32_t {
  DPP_DTB_TABLE_DDR = 0,
  DPP_DTB_TABLE_ERAM_1 = 1,
  DPP_DTB_TABLE_ERAM_64 = 2,
  DPP_DTB_TABLE_ERAM_128 = 3,
  DPP_DTB_TABLE_ZCAM = 4,
  DPP_DTB_TABLE_ETCAM = 5,
  DPP_DTB_TABLE_MC_HASH = 6,
};
inline constexpr uint32_t DPP_DTB_TABLE_TYPE_NUM = 7;

/// Values of type_mode: the block of the chip that executes the command.
inline constexpr uint32_t DPP_DTB_MODE_ERAM = 0;
inline constexpr uint32_t DPP_DTB_MODE_DDR = 1;
inline constexpr uint32_t DPP_DTB_MODE_ZCAM = 2;
inline constexpr uint32_t DPP_DTB_MODE_ETCAM = 3;
inline constexpr uint32_t DPP_DTB_MODE_MC_HASH = 4;

/// A field of a command word; bit 127 is the word's most significant bit.
struct dpp_dtb_field {
  const char* name;
  uint16_t msb;
  uint16_t len;
};
struct dpp_dtb_table_info {
  const char* name;
  std::span<const dpp_dtb_field> fields;
};
/// Layout of a type; null with the range error for a type above 6.
const dpp_dtb_table_info* dpp_table_info_get(uint32_t type);

// The fields of each type, in the order of its layout. The eRAM types differ in the data that the word carries.
struct dpp_dtb_ddr_form {
  uint32_t valid, type_mode;
  uint32_t rw_len;  ///< 0: 128 bits, 1: 256, 2: 512
  uint32_t v46_flag, lpm_wr_vld;
  uint32_t baddr;  ///< base in units of 4 KiB
  uint32_t ecc_en;
  uint32_t rw_addr;  ///< row of 128 bits from the base
};
struct dpp_dtb_eram_1_form {
  uint32_t valid, type_mode, data_mode, cpu_wr, cpu_rd, cpu_rd_mode, addr, data_h;
};
struct dpp_dtb_eram_64_form {
  uint32_t valid, type_mode, data_mode, cpu_wr, cpu_rd, cpu_rd_mode, addr, data_h, data_l;
};
struct dpp_dtb_eram_128_form {
  uint32_t valid, type_mode, data_mode, cpu_wr, cpu_rd, cpu_rd_mode, addr;
};
struct dpp_dtb_zcam_form {
  uint32_t valid, type_mode;
  uint32_t ram_reg_flag;  ///< 1 zcell memory, 0 zreg
  uint32_t zgroup_id, zblock_id, zcell_id;
  uint32_t mask;  ///< quarters of the item to write, bit 3 the first
  uint32_t sram_addr;
};
struct dpp_dtb_etcam_form {
  uint32_t valid, type_mode, block_sel, init_en, row_or_col_msk, vben, reg_tcam_flag, uload, rd_wr, wr_mode,
      data_or_mask, addr, vbit;
};
struct dpp_dtb_mc_hash_form {
  uint32_t valid, type_mode, std_h, std_l;
};

/// Packs `values`, one for each field of the type, into the command word; each is masked to its length. 0x1205 for a
/// type above 6 or another number of values.
uint32_t dpp_dtb_table_cmd_pack(uint32_t type, std::span<const uint32_t> values, uint8_t (&cmd)[DPP_DTB_CMD_BYTES]);

/// The values of a form, in layout order.
template <typename Form>
std::span<const uint32_t> dpp_dtb_form_values(const Form& form) {
  static_assert(sizeof(Form) % sizeof(uint32_t) == 0 && alignof(Form) == alignof(uint32_t));
  return {reinterpret_cast<const uint32_t*>(&form), sizeof(Form) / sizeof(uint32_t)};
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
