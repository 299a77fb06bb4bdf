#include "sheet.h"

#include <algorithm>
#include <optional>
#include <span>
#include <unordered_map>

#include "csv.h"

namespace reg_gen {

namespace {

enum column : size_t {
  COL_NUMBER,
  COL_NAME,
  COL_BLOCK,
  COL_ADDR,
  COL_WIDTH,
  COL_ARRAY,
  COL_M_SIZE,
  COL_M_STEP,
  COL_N_SIZE,
  COL_N_STEP,
  COL_ACCESS,
  COL_CONVERT,
  COL_CLASS,
  COL_FIELDS,
  COL_COUNT
};
constexpr std::array<std::string_view, COL_COUNT> COLUMN_NAMES = {"number", "name",    "block",  "addr",   "width",
                                                                  "array",  "m_size",  "m_step", "n_size", "n_step",
                                                                  "access", "convert", "class",  "fields"};

enum format_column : size_t { FORMAT_NAME, FORMAT_WIDTH, FORMAT_FIELDS, FORMAT_COUNT };
constexpr std::array<std::string_view, FORMAT_COUNT> FORMAT_COLUMN_NAMES = {"name", "width", "fields"};

/// Reads the cells of one line into a register; says what is wrong with the place of the line.
class row_reader {
 public:
  row_reader(const place& at, std::span<const std::string_view> names, const std::vector<std::string>& cells,
             complaints& out)
      : at_(at), names_(names), cells_(cells), out_(out) {}

  bool failed() const {
    return failed_;
  }
  void complain(std::string text) {
    out_.push_back({at_, std::move(text)});
    failed_ = true;
  }
  const place& at() const {
    return at_;
  }
  std::string_view cell(size_t c) const {
    return cells_[c];
  }
  uint32_t number(size_t c) {
    const std::optional<uint32_t> value = csv_number(cells_[c]);
    if (!value) {
      complain(std::string(names_[c]) + " is no number: '" + cells_[c] + "'");
    }
    return value.value_or(0);
  }
  uint32_t choice(column c, std::span<const std::string_view> names) {
    const auto found = std::find(names.begin(), names.end(), cells_[c]);
    if (found == names.end()) {
      complain("unknown " + std::string(names_[c]) + " '" + cells_[c] + "'");
      return 0;
    }
    return static_cast<uint32_t>(found - names.begin());
  }
  void must_be_empty(column c) {
    if (!cells_[c].empty()) {
      complain(std::string(names_[c]) + " has no meaning for array '" + cells_[COL_ARRAY] + "'");
    }
  }

 private:
  const place& at_;
  std::span<const std::string_view> names_;
  const std::vector<std::string>& cells_;
  complaints& out_;
  bool failed_ = false;
};

bool is_name(std::string_view text) {
  return !text.empty() && text[0] >= 'a' && text[0] <= 'z' &&
         text.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == std::string_view::npos;
}

// Registers become structures and fields their members: a word of the language cannot name either.
bool is_language_word(std::string_view text) {
  constexpr std::string_view WORDS =
      " alignas alignof and and_eq asm auto bitand bitor bool break case catch char char8_t char16_t char32_t class "
      "compl concept const consteval constexpr constinit const_cast continue co_await co_return co_yield decltype "
      "default delete do double dynamic_cast else enum explicit export extern false float for friend goto if inline "
      "int "
      "long mutable namespace new noexcept not not_eq nullptr operator or or_eq private protected public register "
      "reinterpret_cast requires return short signed sizeof static static_assert static_cast struct switch template "
      "this thread_local throw true try typedef typeid typename uint32_t union unsigned using virtual void volatile "
      "wchar_t while xor xor_eq ";
  const std::string word = " " + std::string(text) + " ";
  return WORDS.find(word) != std::string_view::npos;
}

// name[msb:lsb]=default/class, of which ":lsb", "=default" and "/class" may be absent.
std::optional<field> field_parse(std::string_view text, uint32_t register_flag) {
  field out;
  out.flag = register_flag;
  if (const size_t slash = text.find('/'); slash != std::string_view::npos) {
    const auto flag = std::find(CLASS_NAMES.begin(), CLASS_NAMES.end(), text.substr(slash + 1));
    if (flag == CLASS_NAMES.end()) {
      return std::nullopt;
    }
    out.flag = static_cast<uint32_t>(flag - CLASS_NAMES.begin());
    text = text.substr(0, slash);
  }
  if (const size_t equals = text.find('='); equals != std::string_view::npos) {
    const std::optional<uint32_t> value = csv_number(text.substr(equals + 1));
    if (!value) {
      return std::nullopt;
    }
    out.default_value = *value;
    text = text.substr(0, equals);
  }
  const size_t open = text.find('[');
  if (open == std::string_view::npos || !text.ends_with(']') || !is_name(text.substr(0, open))) {
    return std::nullopt;
  }
  out.name = text.substr(0, open);
  const std::string_view range = text.substr(open + 1, text.size() - open - 2);
  const size_t colon = range.find(':');
  const std::optional<uint32_t> msb = csv_number(range.substr(0, colon));
  const std::optional<uint32_t> lsb = colon == std::string_view::npos ? msb : csv_number(range.substr(colon + 1));
  if (!msb || !lsb || *lsb > *msb) {
    return std::nullopt;
  }
  out.msb = *msb;
  out.len = *msb - *lsb + 1;
  return out;
}

void field_check(const field& f, const reg& r, row_reader& row) {
  if (is_language_word(f.name)) {
    row.complain("field '" + f.name + "' has the name of a word of the language");
  }
  if (f.msb >= r.width * 8) {
    row.complain("field '" + f.name + "' lies outside the register of " + std::to_string(r.width) + " bytes");
  }
  if (f.len < 32 && f.default_value >> f.len != 0) {
    row.complain("default of field '" + f.name + "' does not fit its " + std::to_string(f.len) + " bits");
  }
  for (const field& other : r.fields) {
    if (other.name == f.name) {
      row.complain("field '" + f.name + "' stands twice in the register");
    }
    if (f.msb >= other.msb + 1 - other.len && other.msb >= f.msb + 1 - f.len) {
      row.complain("field '" + f.name + "' overlaps field '" + other.name + "'");
    }
  }
}

void fields_read(reg& r, uint32_t flag, std::string_view rest, row_reader& row) {
  while (!rest.empty()) {
    const size_t end = std::min(rest.find(' '), rest.size());
    const std::string_view word = rest.substr(0, end);
    rest.remove_prefix(std::min(rest.find_first_not_of(' ', end), rest.size()));
    const std::optional<field> f = field_parse(word, flag);
    if (!f) {
      row.complain("unreadable field '" + std::string(word) + "'");
      continue;
    }
    field_check(*f, r, row);
    r.fields.push_back(*f);
  }
  if (r.fields.empty()) {
    row.complain("the register has no field");
  }
  if (r.fields.size() > FIELDS_MAX) {
    row.complain("more than " + std::to_string(FIELDS_MAX) + " fields");
  }
}

// Bytes that one instance takes, in units of its address space: behind an indirect window an address is a line.
uint32_t instance_span(const reg& r) {
  return ACCESS_NAMES[r.access] == "direct" || ACCESS_NAMES[r.access] == "etm" ? r.width : 1;
}

void dimension_read(column size_column, column step_column, uint32_t& size, uint32_t& step, row_reader& row) {
  size = row.number(size_column);
  step = row.number(step_column);
  if (row.failed()) {
    return;
  }
  if (size == 0) {
    row.complain(std::string(COLUMN_NAMES[size_column]) + " is 0");
  }
  if (step == 0) {
    row.complain(std::string(COLUMN_NAMES[step_column]) + " is 0");
  }
}

void instances_check(const reg& r, row_reader& row) {
  const uint64_t count = uint64_t{r.m_size} * r.n_size;
  if (count > INSTANCES_MAX) {
    row.complain("more than " + std::to_string(INSTANCES_MAX) + " instances");
    return;
  }
  const uint32_t span = instance_span(r);
  std::vector<uint64_t> starts;
  starts.reserve(count);
  for (uint64_t m = 0; m < r.m_size; ++m) {
    for (uint64_t n = 0; n < r.n_size; ++n) {
      starts.push_back(r.addr + m * r.m_step + n * r.n_step);
    }
  }
  std::sort(starts.begin(), starts.end());
  if (starts.back() + span > uint64_t{UINT32_MAX} + 1) {
    row.complain("the last instance lies beyond the 32-bit address space");
  }
  for (size_t i = 1; i < starts.size(); ++i) {
    if (starts[i] - starts[i - 1] < span) {
      row.complain("instances overlap");
      return;
    }
  }
}

void array_read(reg& r, row_reader& row) {
  const std::string_view kind = row.cell(COL_ARRAY);
  if (kind != "single" && kind != "n" && kind != "mn" && kind != "raw") {
    row.complain("unknown array '" + std::string(kind) + "'");
    return;
  }
  r.raw = kind == "raw";
  if (kind == "mn") {
    dimension_read(COL_M_SIZE, COL_M_STEP, r.m_size, r.m_step, row);
  } else {
    row.must_be_empty(COL_M_SIZE);
    row.must_be_empty(COL_M_STEP);
  }
  if (kind == "single") {
    row.must_be_empty(COL_N_SIZE);
    row.must_be_empty(COL_N_STEP);
  } else {
    dimension_read(COL_N_SIZE, COL_N_STEP, r.n_size, r.n_step, row);
  }
  r.array_type = kind == "mn" ? 2 : kind == "n" ? 1 : 0;
  if (!row.failed()) {
    instances_check(r, row);
  }
}

void access_read(reg& r, row_reader& row) {
  r.access = row.choice(COL_ACCESS, ACCESS_NAMES);
  const std::string_view name = ACCESS_NAMES[r.access];
  if ((name == "etm" || name == "tm") && r.width != 4) {
    row.complain("access '" + std::string(name) + "' moves registers of 4 bytes");
  }
  if (name == "se_alg" && r.width != 64) {
    row.complain("access 'se_alg' moves registers of 64 bytes");
  }
  if (instance_span(r) == r.width && r.addr % 4 != 0) {
    row.complain("the address is no multiple of 4");
  }
  const std::string_view convert = row.cell(COL_CONVERT);
  if (convert != "" && convert != "yes" && convert != "no") {
    row.complain("convert is neither yes nor no: '" + std::string(convert) + "'");
  }
  r.flag = convert == "no" ? 1 : 0;
}

std::string raw_name(const std::string& name, uint32_t addr) {
  char text[16];
  snprintf(text, sizeof text, "_raw_%06x", addr);
  return name + text;
}

void raw_expand(const reg& r, std::vector<reg>& regs) {
  for (uint32_t i = 0; i < r.n_size; ++i) {
    reg word = r;
    word.number = r.number + i;
    word.addr = r.addr + i * r.n_step;
    word.name = raw_name(r.name, word.addr);
    word.n_size = 1;
    word.n_step = 0;
    regs.push_back(std::move(word));
  }
}

void name_and_width_read(reg& r, size_t name_column, size_t width_column, row_reader& row) {
  r.name = row.cell(name_column);
  r.width = row.number(width_column);
  if (!is_name(r.name)) {
    row.complain("'" + r.name + "' is no register name");
  }
  if (is_language_word(r.name)) {
    row.complain("register '" + r.name + "' has the name of a word of the language");
  }
  if (r.width < 4 || r.width > WIDTH_MAX || r.width % 4 != 0) {
    row.complain("width " + std::string(row.cell(width_column)) + " is no multiple of 4 from 4 to " +
                 std::to_string(WIDTH_MAX));
  }
}

void row_read(row_reader& row, std::vector<reg>& regs) {
  reg r;
  r.at = row.at();
  r.number = row.number(COL_NUMBER);
  r.mod_no = row.choice(COL_BLOCK, BLOCK_NAMES);
  r.addr = row.number(COL_ADDR);
  name_and_width_read(r, COL_NAME, COL_WIDTH, row);
  access_read(r, row);
  array_read(r, row);
  fields_read(r, row.choice(COL_CLASS, CLASS_NAMES), row.cell(COL_FIELDS), row);
  if (r.number >= REG_COUNT || (r.raw && r.n_size > REG_COUNT - r.number)) {
    row.complain("register numbers end at " + std::to_string(REG_COUNT - 1));
  }
  if (r.raw && (r.width != 4 || r.fields.size() != 1)) {
    row.complain("a raw row describes words of 4 bytes with one field");
  }
  if (row.failed()) {
    return;
  }
  if (r.raw) {
    raw_expand(r, regs);
  } else {
    regs.push_back(std::move(r));
  }
}

void format_read(row_reader& row, std::vector<reg>& formats) {
  reg r;
  name_and_width_read(r, FORMAT_NAME, FORMAT_WIDTH, row);
  fields_read(r, 0, row.cell(FORMAT_FIELDS), row);
  if (std::any_of(r.fields.begin(), r.fields.end(), [](const field& f) { return f.len > 32; })) {
    row.complain("a field of a format has at most 32 bits");
  }
  if (!row.failed()) {
    formats.push_back(std::move(r));
  }
}

/// Hands each row of a sheet with these columns to `read`.
void rows_read(const std::string& file, std::string_view text, std::span<const std::string_view> columns,
               void (*read)(row_reader& row, std::vector<reg>& regs), std::vector<reg>& regs, complaints& out) {
  place at{file, 0};
  std::string_view line;
  bool header_seen = false;
  while (csv_next_line(text, line)) {
    ++at.line;
    if (line.empty() || line[0] == '#') {
      continue;
    }
    const std::optional<std::vector<std::string>> cells = csv_cells(line);
    if (!cells) {
      out.push_back({at, "a quote is left open"});
    } else if (!header_seen) {
      header_seen = true;
      if (!std::equal(cells->begin(), cells->end(), columns.begin(), columns.end())) {
        out.push_back({at, "the first line does not name the columns"});
        return;
      }
    } else if (cells->size() != columns.size()) {
      out.push_back({at, std::to_string(cells->size()) + " cells in place of " + std::to_string(columns.size())});
    } else {
      row_reader row(at, columns, *cells, out);
      read(row, regs);
    }
  }
  if (!header_seen) {
    out.push_back({at, "the sheet is empty"});
  }
}

}  // namespace

void sheet_read(const std::string& file, std::string_view text, std::vector<reg>& regs, complaints& out) {
  rows_read(file, text, COLUMN_NAMES, row_read, regs, out);
}

void formats_read(const std::string& file, std::string_view text, std::vector<reg>& formats, complaints& out) {
  rows_read(file, text, FORMAT_COLUMN_NAMES, format_read, formats, out);
}

void regs_check(std::vector<reg>& regs, complaints& out) {
  std::stable_sort(regs.begin(), regs.end(), [](const reg& a, const reg& b) { return a.number < b.number; });
  uint32_t expected = 0;
  place last;
  for (const reg& r : regs) {
    if (r.number < expected) {
      out.push_back({r.at, "number " + std::to_string(r.number) + " is used twice, first at " + last.file + ":" +
                               std::to_string(last.line)});
    } else if (r.number > expected) {
      out.push_back({r.at, "number " + std::to_string(expected) + " is missing before this row"});
    }
    expected = r.number + 1;
    last = r.at;
  }
  if (expected != REG_COUNT) {
    out.push_back({last, "number " + std::to_string(expected) + " is missing after this row"});
  }
  std::unordered_map<std::string_view, const reg*> names;
  for (const reg& r : regs) {
    if (const auto [first, added] = names.try_emplace(r.name, &r); !added) {
      const place& before = first->second->at;
      out.push_back(
          {r.at, "name '" + r.name + "' is used twice, first at " + before.file + ":" + std::to_string(before.line)});
    }
  }
}

}  // namespace reg_gen
