// Description sheets: one comma-separated file for each hardware block, read into rows and checked line by line.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace reg_gen {

/// Where something stands in a sheet.
struct place {
  std::string file;
  uint32_t line = 0;
};

struct complaint {
  place at;
  std::string text;
};
using complaints = std::vector<complaint>;

struct field {
  std::string name;
  uint32_t msb = 0;
  uint32_t len = 0;
  uint32_t default_value = 0;
  uint32_t flag = 0;
};

struct reg {
  place at;
  uint32_t number = 0;
  std::string name;
  uint32_t mod_no = 0;
  uint32_t flag = 0;
  uint32_t array_type = 0;
  uint32_t addr = 0;
  uint32_t width = 0;
  uint32_t m_size = 1;
  uint32_t n_size = 1;
  uint32_t m_step = 0;
  uint32_t n_step = 0;
  uint32_t access = 0;
  bool raw = false;
  std::vector<field> fields;
};

inline constexpr uint32_t REG_COUNT = 4440;
inline constexpr uint32_t WIDTH_MAX = 512;
inline constexpr uint32_t FIELDS_MAX = 128;
inline constexpr uint32_t INSTANCES_MAX = 1u << 20;

/// The values of a column that takes names. The position of a name is its number in the table.
inline constexpr std::array<std::string_view, 18> BLOCK_NAMES = {"cfg", "nppu",  "ppu",    "etm",   "stat", "car",
                                                                 "se",  "dtb",   "trpg",   "tsn",   "axi",  "tlb",
                                                                 "oam", "dtb4k", "stat4k", "ppu4k", "se4k", "smmu4k"};
inline constexpr std::array<std::string_view, 4> ACCESS_NAMES = {"direct", "etm", "tm", "se_alg"};
inline constexpr std::array<std::string_view, 3> CLASS_NAMES = {"state", "int", "cfg"};

/// Reads one sheet and appends its registers, raw rows expanded; what is wrong goes to `out`.
void sheet_read(const std::string& file, std::string_view text, std::vector<reg>& regs, complaints& out);

/// Reads the sheet of formats, words of the chip that are no registers: only name, width and fields of each are set.
void formats_read(const std::string& file, std::string_view text, std::vector<reg>& formats, complaints& out);

/// Checks that hold across sheets: every number from 0 to REG_COUNT - 1 described once, no name twice. Sorts by number.
void regs_check(std::vector<reg>& regs, complaints& out);

}  // namespace reg_gen
