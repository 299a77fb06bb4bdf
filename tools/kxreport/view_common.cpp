#include <cmath>
#include <cstring>

#include "views.h"

namespace {

struct view_row {
  std::string_view name;
  view_fn view;
};
constexpr view_row VIEWS[] = {
    {"text", view_text}, {"json", view_json}, {"openmetrics", view_openmetrics}, {"html", view_html}};

struct prefix {
  double factor;
  const char* name;
};
constexpr prefix PREFIXES[] = {{1e9, "G"}, {1e6, "M"}, {1e3, "k"}, {1, ""}, {1e-3, "m"}, {1e-6, "u"}};

const char* symbol_of(value_unit unit) {
  switch (unit) {
    case value_unit::none:
      break;
    case value_unit::amperes:
      return "A";
    case value_unit::bauds:
      return "Bd";
    case value_unit::celsius:
      return "C";
    case value_unit::seconds:
      return "s";
    case value_unit::transfers_per_second:
      return "T/s";
    case value_unit::unit_intervals:
      return "UI";
    case value_unit::volts:
      return "V";
    case value_unit::watts:
      return "W";
  }
  return "";
}

std::string measure_text(double number, value_unit unit) {
  char text[64];
  const prefix* chosen = &PREFIXES[3];
  const bool prefixed = unit != value_unit::celsius && unit != value_unit::none && unit != value_unit::unit_intervals;
  if (prefixed && number != 0 && std::isfinite(number)) {
    chosen = &PREFIXES[std::size(PREFIXES) - 1];
    for (const prefix& row : PREFIXES) {
      if (std::fabs(number) >= row.factor) {
        chosen = &row;
        break;
      }
    }
  }
  // The standard's speeds have one place behind the point, "16.0 GT/s", wherever the programs show them.
  snprintf(text, sizeof text, unit == value_unit::transfers_per_second ? "%.1f%s%s%s" : "%.6g%s%s%s",
           number / chosen->factor, unit == value_unit::none ? "" : " ", chosen->name, symbol_of(unit));
  return text;
}

constexpr size_t WORD_MAX = 2 + 2 * 512;  // a register has at most 512 bytes
constexpr size_t WORD_SHOWN = 2 + 2 * 16;

std::string printable(std::string_view text) {
  std::string good;
  while (!text.empty()) {
    const size_t length = utf8_prefix(text);
    for (const char c : text.substr(0, length)) {
      good += static_cast<unsigned char>(c) < ' ' || c == 0x7F ? '?' : c;
    }
    good += length < text.size() ? "?" : "";
    text.remove_prefix(std::min(length + 1, text.size()));
  }
  return good;
}

/// Bytes of the character at the front; 0 when it is none, a control of the upper half included.
size_t character_length(std::string_view text) {
  const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char first = byte(0);
  if (first < 0x80) {
    return 1;
  }
  const size_t length = first >= 0xF0 && first < 0xF5 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 0;
  if (length == 0 || first >= 0xF5 || text.size() < length) {
    return 0;
  }
  uint32_t code = first & (0x7F >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) {
      return 0;
    }
    code = code << 6 | (byte(i) & 0x3F);
  }
  const uint32_t smallest = length == 2 ? 0xA0 : length == 3 ? 0x800 : 0x10000;
  return code < smallest || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000) ? 0 : length;
}

}  // namespace

size_t utf8_prefix(std::string_view text) {
  size_t length = 0;
  while (length < text.size()) {
    const size_t step = character_length(text.substr(length));
    if (step == 0) {
      break;
    }
    length += step;
  }
  return length;
}

view_fn view_find(std::string_view name) {
  for (const view_row& row : VIEWS) {
    if (row.name == name) {
      return row.view;
    }
  }
  return nullptr;
}

std::string value_text(const value& one) {
  const term_row& row = one.row();
  switch (row.kind) {
    case value_kind::flag:
      return one.number != 0 ? "yes" : "no";
    case value_kind::gauge:
      return row.unit == value_unit::none ? std::to_string(one.gauge())
                                          : measure_text(static_cast<double>(one.gauge()), row.unit);
    case value_kind::real:
      return measure_text(one.real(), row.unit);
    case value_kind::counter:
      return std::to_string(one.number);
    case value_kind::word:
      if (one.text.size() > WORD_MAX) {
        return one.text.substr(0, WORD_SHOWN) + "... (" + std::to_string(one.text.size() / 2 - 1) + " bytes)";
      }
      [[fallthrough]];
    default:
      return printable(one.text);
  }
}

std::string labels_text(const value& group) {
  std::string text;
  for (const value& child : group.children) {
    if (child.row().kind == value_kind::label && !child.text.empty()) {
      text += text.empty() ? "" : " ";
      text += value_text(child);
    }
  }
  return text;
}

std::string name_text(const value& one) {
  std::string name = one.row().name;
  for (char& c : name) {
    c = c == '_' ? ' ' : c;
  }
  return name;
}
