#include "emit.h"

#include "text_pool.h"

namespace reg_gen {

namespace {

std::string numbers(std::initializer_list<uint32_t> values) {
  std::string out = "{";
  for (const uint32_t value : values) {
    out += std::to_string(value) + ",";
  }
  out.back() = '}';
  return out;
}

/// Whether the type of a register gets what an access needs without the table: its word, and where it lies.
bool is_plain(const reg& r) {
  const uint64_t last = r.addr + uint64_t{r.m_size - 1} * r.m_step + uint64_t{r.n_size - 1} * r.n_step;
  return r.width == 4 && r.access == 0 && last <= UINT32_MAX;
}

std::string plain_text(const reg& r) {
  const bool has_n = r.array_type != 0;
  const bool has_m = (r.array_type & 2) != 0;
  std::string out = "  static constexpr dpp_reg_plain PLAIN = " +
                    numbers({r.addr, has_m ? r.m_size : UINT32_MAX, has_n ? r.n_size : UINT32_MAX, has_m ? r.m_step : 0,
                             has_n ? r.n_step : 0}) +
                    ";\n  static constexpr dpp_reg_bits BITS[] = {";
  for (const field& f : r.fields) {
    out += numbers({f.msb, f.len}) + ",";
  }
  out.back() = '}';
  return out + ";\n";
}

std::string format_text(const reg& r) {
  std::string out = "  static constexpr dpp_format_field FIELDS[] = {";
  for (const field& f : r.fields) {
    out += "{\"" + f.name + "\"," + numbers({f.msb, f.len}).substr(1) + ",";
  }
  out.back() = '}';
  return out + ";\n";
}

std::string struct_text(const reg& r, const std::string& constants) {
  std::string out = "struct " + r.name + " {\n" + constants;
  for (const field& f : r.fields) {
    out += "  uint32_t " + f.name + ";\n";
  }
  return out + "};\n";
}

}  // namespace

std::string table_text(const std::vector<reg>& regs) {
  text_pool pool;
  // Field 0 belongs to all raw words: that is how they are told from described registers.
  std::string fields = numbers({pool.add("data"), 0, 31, 32, 0, 0}) + ",\n";
  uint32_t field_count = 1;
  std::string rows;
  for (const reg& r : regs) {
    const uint32_t first = r.raw ? 0 : field_count;
    rows += numbers({pool.add(r.name), r.number, r.mod_no, r.flag, r.array_type, r.addr, r.width, r.m_size, r.n_size,
                     r.m_step, r.n_step, static_cast<uint32_t>(r.fields.size()), first, r.access}) +
            ",\n";
    if (r.raw) {
      continue;
    }
    for (const field& f : r.fields) {
      fields += numbers({pool.add(f.name), f.flag, f.msb, f.len, f.default_value, 0}) + ",\n";
      ++field_count;
    }
  }
  std::string out = "// Generated from the description sheets; do not edit.\n#include \"dpp_reg_table.h\"\n\n";
  out += "extern const dpp_reg_info dpp_reg_table[DPP_REG_NUM] = {\n" + rows + "};\n";
  out += "extern const uint32_t dpp_reg_field_num = " + std::to_string(field_count) + ";\n";
  out += "extern const dpp_reg_field dpp_reg_field_table[" + std::to_string(field_count) + "] = {\n" + fields + "};\n";
  out += "extern const uint32_t dpp_reg_text_size = " + std::to_string(pool.size()) + ";\n";
  return out + pool.source("dpp_reg_text_pool");
}

std::string types_text(const std::vector<reg>& regs, const std::vector<reg>& formats) {
  std::string out =
      "// Generated from the description sheets; do not edit.\n"
      "// The described registers as values: one member a field. dpp_reg.h reads and writes them.\n"
      "#pragma once\n\n#include \"dpp_reg/dpp_reg_info.h\"\n\nnamespace dpp_regs {\n\n";
  for (const reg& r : regs) {
    if (!r.raw) {
      const std::string number = "  static constexpr uint32_t NUMBER = " + std::to_string(r.number) + ";\n";
      out += struct_text(r, number + (is_plain(r) ? plain_text(r) : ""));
    }
  }
  out += "\n}  // namespace dpp_regs\n\nnamespace dpp_formats {\n\n";
  for (const reg& r : formats) {
    out += struct_text(r, "  static constexpr uint32_t WIDTH = " + std::to_string(r.width) + ";\n" + format_text(r));
  }
  return out + "\n}  // namespace dpp_formats\n";
}

}  // namespace reg_gen
