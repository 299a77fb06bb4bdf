// The words of all reports: every value that any of them can hold, with its kind, its unit and what it says. The views,
// the schema and the metrics' help texts come from this one table.
#pragma once

#include <cstdint>
#include <span>
#include <string>

enum class value_kind : uint8_t {
  group,    ///< named values
  list,     ///< values of one term
  table,    ///< groups that a reader takes in one line each
  label,    ///< text that tells one group of a list from the others
  text,     ///< what something is called; seldom changes
  line,     ///< words for a reader, which may change with every look
  fault,    ///< why values are missing
  flag,     ///< yes or no
  gauge,    ///< whole number that goes up and down, with a sign
  real,     ///< measurement
  counter,  ///< 64 bits that only grow
  word,     ///< what a register holds, in hexadecimal, most significant word first
};

enum class value_unit : uint8_t {
  none,
  amperes,
  bauds,
  celsius,
  seconds,
  transfers_per_second,
  unit_intervals,
  volts,
  watts,
};

enum class term : uint16_t {
#define KXREPORT_TERM(id, ...) id,
#include "terms.inc"
#undef KXREPORT_TERM
  count,
};

struct term_row {
  const char* name;  ///< without its unit
  value_kind kind;
  value_unit unit;
  const char* help;
  std::span<const term> children;  ///< of a group all that it may hold; of a list and a table the one term
};

const term_row& term_get(term what);
/// "celsius", the end of a name in JSON and of a metric; "" for none.
const char* unit_name(value_unit unit);
/// The value's name in JSON, which ends in its unit.
std::string term_json_name(term what);

/// Groups, lists and tables have children, all others a value of their own.
constexpr bool kind_has_children(value_kind kind) {
  return kind == value_kind::group || kind == value_kind::list || kind == value_kind::table;
}
/// True for the kinds whose value is a text.
constexpr bool kind_is_text(value_kind kind) {
  return kind == value_kind::label || kind == value_kind::text || kind == value_kind::line ||
         kind == value_kind::fault || kind == value_kind::word;
}
