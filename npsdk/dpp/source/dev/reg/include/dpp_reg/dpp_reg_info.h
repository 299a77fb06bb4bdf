// The register description: one constant row for each register of the network processor, its fields and its texts.
// The rows are generated from the sheets in desc/; they hold offsets in place of pointers, so that the table costs
// nothing when the program starts.
#pragma once

#include <cstdint>
#include <span>

inline constexpr uint32_t DPP_REG_NUM = 4440;            ///< registers 0 to 4439
inline constexpr uint32_t DPP_REG_NO_NONE = 0xFFFFFFFF;  ///< no such register
inline constexpr uint32_t DPP_REG_WIDTH_MAX = 512;       ///< bytes
inline constexpr uint32_t DPP_REG_FIELD_MAX = 128;       ///< fields of one register
inline constexpr uint32_t DPP_REG_MODULE_MAX = 17;

inline constexpr uint32_t DPP_REG_FLAG_NO_CONVERT = 1;  ///< the address is never converted in agent mode

inline constexpr uint32_t DPP_REG_UNARY_ARRAY = 1;   ///< array_type bit 0: index n
inline constexpr uint32_t DPP_REG_BINARY_ARRAY = 2;  ///< array_type bit 1: indexes m and n

inline constexpr uint32_t DPP_FIELD_FLAG_INT = 1;  ///< an interrupt status field
inline constexpr uint32_t DPP_FIELD_FLAG_CFG = 2;  ///< a configuration field

// Pairs of module access hooks; see dpp_reg_access.h.
inline constexpr uint32_t DPP_REG_ACCESS_DIRECT = 0;
inline constexpr uint32_t DPP_REG_ACCESS_ETM = 1;
inline constexpr uint32_t DPP_REG_ACCESS_TM = 2;
inline constexpr uint32_t DPP_REG_ACCESS_SE_ALG = 3;

struct dpp_reg_field {
  uint32_t name;           ///< offset into the text pool
  uint32_t flag;           ///< DPP_FIELD_FLAG_*, 0 for all others (counters, states)
  uint16_t msb_pos;        ///< bit number of the highest bit, counted from bit 0 of the register
  uint16_t len;            ///< bits
  uint32_t default_value;  ///< after reset
  uint32_t reserved;
};

struct dpp_reg_info {
  uint32_t name;  ///< offset into the text pool
  uint32_t reg_no;
  uint32_t mod_no;
  uint32_t flag;        ///< DPP_REG_FLAG_*
  uint32_t array_type;  ///< 0, DPP_REG_UNARY_ARRAY or DPP_REG_BINARY_ARRAY
  uint32_t addr;        ///< of instance 0, in the register space
  uint32_t width;       ///< bytes
  uint32_t m_size;
  uint32_t n_size;
  uint32_t m_step;  ///< address step from one m to the next
  uint32_t n_step;
  uint32_t field_num;
  uint32_t field_first;  ///< index into the field table
  uint32_t access;       ///< DPP_REG_ACCESS_*
};

/// What the type of a register knows that is one word and is reached directly, as most are: the address of instance 0,
/// how far an index may go, and the steps. A dimension that the register has not takes every index, in steps of 0.
struct dpp_reg_plain {
  uint32_t addr;
  uint32_t m_size;
  uint32_t n_size;
  uint32_t m_step;
  uint32_t n_step;
};
/// One of its fields: the highest bit and the bits in all.
struct dpp_reg_bits {
  uint32_t msb;
  uint32_t len;
};

/// A field of a format, a word of the chip that is no register (desc/formats.csv).
struct dpp_format_field {
  const char* name;
  uint16_t msb;  ///< bit number of the highest bit, counted from bit 0 of the word
  uint16_t len;
};

/// The row of a register; above 4439 null and the range message.
const dpp_reg_info* dpp_reg_info_get(uint32_t reg_no);
/// The text at an offset of the pool: a row's or a field's name.
const char* dpp_reg_text_get(uint32_t offset);
std::span<const dpp_reg_field> dpp_reg_fields_get(const dpp_reg_info& info);

/// True for a row that names its register and fields; false for a word known by block and offset only.
bool dpp_reg_is_described(const dpp_reg_info& info);
/// Instances of the register: n_size, or m_size times n_size, or 1.
uint64_t dpp_reg_instance_num_get(const dpp_reg_info& info);

/// The name of an instance, "name", "name[n]" or "name[m][n]", cut where `out` ends.
void dpp_reg_instance_name_get(const dpp_reg_info& info, uint32_t m, uint32_t n, std::span<char> out);

// Record lookups; 0, null and DPP_REG_NO_NONE (after the range message) for a number that does not exist.
uint32_t dpp_reg_width_get(uint32_t reg_no);
const char* dpp_reg_name_get(uint32_t reg_no);
uint32_t dpp_reg_module_no_get(uint32_t reg_no);

inline constexpr uint32_t DPP_MODULE_NAME_SIZE = 20;
/// Copies the printed name of a module, its padding included, into `name` (DPP_MODULE_NAME_SIZE bytes). 0x1205 for a
/// module above 17.
uint32_t dpp_module_name_get(uint32_t mod_no, char* name);
