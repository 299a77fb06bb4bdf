// Register descriptions as data: a CSV file beside the code, parsed by the compiler into constant tables. A mistake in
// the file (a field outside of its register, an overlap, an unknown word) stops the build; at run time nothing is
// parsed, and no table holds a pointer, so the tables cost nothing at start-up.
//
// A line is list,name,offset,width,access,fields. Lines of one list stand together; empty lines and lines that begin
// with '#' are skipped.
//   list    what the register belongs to, for its user; "*" behind it says that the list is the super user's
//   offset  hexadecimal byte offset, "+0x8*vf" appended for an array with one element per index of that kind; two such
//           texts separated by '/' when the older and the newer register layout differ
//   width   16, 32 or 64
//   access  ro, rw, or clear (writing the value of the fields, all ones, is what the register is for)
//   fields  name:high:low joined by '|'; empty means one field over the whole register with the register's name
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

/// A part of the description's text.
struct kx_description_text {
  uint32_t at;
  uint32_t length;
};

struct kx_field_description {
  kx_description_text name;
  uint8_t high;
  uint8_t low;
};

enum class kx_register_access : uint8_t { ro, rw, clear };

struct kx_register_description {
  kx_description_text list;
  kx_description_text name;
  kx_description_text index;  ///< kind of the array's index, empty for a single register
  uint32_t offset[2];         ///< in the older and in the newer layout
  uint32_t stride[2];
  uint8_t width;
  kx_register_access access;
  bool super;  ///< its list is the super user's
  uint16_t field_first;
  uint16_t field_count;
};

/// A parsed description; `text` must outlive it.
struct kx_description {
  std::string_view text;
  std::span<const kx_register_description> registers;
  std::span<const kx_field_description> all_fields;

  constexpr std::string_view view(const kx_description_text& part) const {
    return text.substr(part.at, part.length);
  }
  constexpr std::span<const kx_field_description> fields(const kx_register_description& row) const {
    return all_fields.subspan(row.field_first, row.field_count);
  }
  /// The registers of one list, in the order of the file; empty when there is no such list.
  constexpr std::span<const kx_register_description> list(std::string_view name) const {
    size_t first = 0;
    while (first < registers.size() && view(registers[first].list) != name) {
      ++first;
    }
    size_t end = first;
    while (end < registers.size() && view(registers[end].list) == name) {
      ++end;
    }
    return registers.subspan(first, end - first);
  }
};

/// The field's bits of a register value.
constexpr uint64_t kx_field_value(const kx_field_description& field, uint64_t value) {
  const uint32_t bits = field.high - field.low + 1u;
  return (value >> field.low) & (bits == 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1);
}

namespace kx_description_parser {

/// Not constant: reaching it while the compiler parses a description is the compiler's error.
void mistake_in_description(const char* reason);

constexpr void require(bool holds, const char* reason) {
  if (!holds) {
    mistake_in_description(reason);
  }
}

/// Takes the text up to `separator` (or all of it) off the front of `rest`.
constexpr std::string_view take(std::string_view* rest, char separator) {
  const size_t end = rest->find(separator);
  const std::string_view head = rest->substr(0, end);
  rest->remove_prefix(end == std::string_view::npos ? rest->size() : end + 1);
  return head;
}

constexpr uint64_t number(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x");
  text.remove_prefix(hexadecimal ? 2 : 0);
  require(!text.empty() && text.size() <= 8, "a number is missing or too long");
  uint64_t value = 0;
  for (const char c : text) {
    const uint64_t digit = c >= '0' && c <= '9'   ? static_cast<uint64_t>(c - '0')
                           : c >= 'a' && c <= 'f' ? static_cast<uint64_t>(c - 'a' + 10)
                           : c >= 'A' && c <= 'F' ? static_cast<uint64_t>(c - 'A' + 10)
                                                  : uint64_t{16};
    require(digit < (hexadecimal ? 16 : 10), "a number holds a wrong character");
    value = value * (hexadecimal ? 16 : 10) + digit;
  }
  return value;
}

constexpr kx_register_access access(std::string_view text) {
  require(text == "ro" || text == "rw" || text == "clear", "access is ro, rw or clear");
  return text == "ro" ? kx_register_access::ro : text == "rw" ? kx_register_access::rw : kx_register_access::clear;
}

constexpr bool is_row(std::string_view line) {
  return !line.empty() && line.front() != '#';
}

struct counts {
  size_t registers = 0;
  size_t fields = 0;
};

constexpr counts count(std::string_view csv) {
  counts result;
  while (!csv.empty()) {
    std::string_view line = take(&csv, '\n');
    if (!is_row(line)) {
      continue;
    }
    ++result.registers;
    for (int column = 0; column < 5; ++column) {
      take(&line, ',');
    }
    do {
      take(&line, '|');
      ++result.fields;
    } while (!line.empty());
  }
  return result;
}

template <size_t Registers, size_t Fields>
struct tables {
  std::array<kx_register_description, Registers> registers = {};
  std::array<kx_field_description, Fields> fields = {};
};

constexpr kx_description_text part_of(std::string_view csv, std::string_view part) {
  return {static_cast<uint32_t>(part.data() - csv.data()), static_cast<uint32_t>(part.size())};
}

/// "0x10" or "0x10+0x4*q"; returns the index kind.
constexpr std::string_view place(std::string_view text, uint32_t width, uint32_t* offset, uint32_t* stride) {
  *offset = static_cast<uint32_t>(number(take(&text, '+')));
  require(*offset % (width / 8) == 0, "an offset is not a multiple of the register's width");
  if (text.empty()) {
    *stride = 0;
    return text;
  }
  *stride = static_cast<uint32_t>(number(take(&text, '*')));
  require(*stride % (width / 8) == 0 && *stride != 0, "a stride is not a multiple of the register's width");
  require(!text.empty(), "an array has no index kind");
  return text;
}

constexpr kx_field_description field(std::string_view csv, std::string_view text, uint32_t width) {
  kx_field_description result = {};
  result.name = part_of(csv, take(&text, ':'));
  const uint64_t high = number(take(&text, ':'));
  const uint64_t low = number(text);
  require(high < width && low <= high, "a field does not lie in its register");
  require(result.name.length > 0, "a field has no name");
  result.high = static_cast<uint8_t>(high);
  result.low = static_cast<uint8_t>(low);
  return result;
}

constexpr bool overlap(const kx_field_description& a, const kx_field_description& b) {
  return a.low <= b.high && b.low <= a.high;
}

template <size_t Registers, size_t Fields>
constexpr tables<Registers, Fields> parse(std::string_view csv) {
  tables<Registers, Fields> result;
  size_t row_count = 0;
  size_t field_count = 0;
  kx_register_description before = {};
  for (std::string_view rest = csv; !rest.empty();) {
    std::string_view line = take(&rest, '\n');
    if (!is_row(line)) {
      continue;
    }
    kx_register_description& row = result.registers[row_count++];
    std::string_view list = take(&line, ',');
    row.super = list.ends_with('*');
    list.remove_suffix(row.super ? 1 : 0);
    row.list = part_of(csv, list);
    require(row_count == 1 || list != csv.substr(before.list.at, before.list.length) || before.super == row.super,
            "a list is and is not the super user's");
    before = row;
    row.name = part_of(csv, take(&line, ','));
    std::string_view newer = take(&line, ',');
    const std::string_view older = take(&newer, '/');
    const uint64_t width = number(take(&line, ','));
    require(width == 16 || width == 32 || width == 64, "width is 16, 32 or 64");
    row.width = static_cast<uint8_t>(width);
    const std::string_view index = place(older, row.width, &row.offset[0], &row.stride[0]);
    row.index = part_of(csv, index);
    require(place(newer.empty() ? older : newer, row.width, &row.offset[1], &row.stride[1]) == index,
            "the layouts differ in the index kind");
    row.access = access(take(&line, ','));
    row.field_first = static_cast<uint16_t>(field_count);
    if (line.empty()) {
      result.fields[field_count++] = {row.name, static_cast<uint8_t>(width - 1), 0};
    }
    while (!line.empty()) {
      result.fields[field_count] = field(csv, take(&line, '|'), row.width);
      for (size_t i = row.field_first; i < field_count; ++i) {
        require(!overlap(result.fields[i], result.fields[field_count]), "two fields of a register overlap");
      }
      ++field_count;
    }
    row.field_count = static_cast<uint16_t>(field_count - row.field_first);
  }
  return result;
}

}  // namespace kx_description_parser

/// The tables of a description whose text is the constant `Csv`, made by the compiler.
template <const std::string_view& Csv>
inline constexpr auto kx_description_tables =
    kx_description_parser::parse<kx_description_parser::count(Csv).registers, kx_description_parser::count(Csv).fields>(
        Csv);

template <const std::string_view& Csv>
inline constexpr kx_description kx_description_of = {Csv, kx_description_tables<Csv>.registers,
                                                     kx_description_tables<Csv>.fields};
