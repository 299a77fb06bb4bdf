#include "csv.h"

#include <charconv>

namespace reg_gen {

namespace {

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

}  // namespace

std::optional<std::vector<std::string>> csv_cells(std::string_view line) {
  std::vector<std::string> cells;
  std::string cell;
  bool quoted = false;
  for (size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '"' && quoted && i + 1 < line.size() && line[i + 1] == '"') {
      cell += '"';
      ++i;
    } else if (c == '"') {
      quoted = !quoted;
    } else if (c == ',' && !quoted) {
      cells.emplace_back(trimmed(cell));
      cell.clear();
    } else {
      cell += c;
    }
  }
  if (quoted) {
    return std::nullopt;
  }
  cells.emplace_back(trimmed(cell));
  return cells;
}

std::optional<uint32_t> csv_number(std::string_view cell) {
  int base = 10;
  if (cell.starts_with("0x") || cell.starts_with("0X")) {
    cell.remove_prefix(2);
    base = 16;
  }
  uint32_t value = 0;
  const auto [end, error] = std::from_chars(cell.data(), cell.data() + cell.size(), value, base);
  if (cell.empty() || error != std::errc{} || end != cell.data() + cell.size()) {
    return std::nullopt;
  }
  return value;
}

bool csv_next_line(std::string_view& text, std::string_view& line) {
  if (text.empty()) {
    return false;
  }
  const size_t end = text.find('\n');
  line = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  return true;
}

}  // namespace reg_gen
