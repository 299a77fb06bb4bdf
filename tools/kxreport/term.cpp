#include "term.h"

namespace {

// One list of children a term; those without have an empty one.
template <term WHAT>
struct children_of;
#define KXREPORT_TERM(id, name, kind, unit, help, ...)                                    \
  template <>                                                                             \
  struct children_of<term::id> {                                                          \
    using enum term;                                                                      \
    static constexpr term none[] = {term::count __VA_OPT__(, ) __VA_ARGS__};              \
    static constexpr std::span<const term> list = std::span<const term>(none).subspan(1); \
  };
#include "terms.inc"
#undef KXREPORT_TERM

constexpr term_row ROWS[] = {
#define KXREPORT_TERM(id, name, kind, unit, help, ...) \
  {name, value_kind::kind, value_unit::unit, help, children_of<term::id>::list},
#include "terms.inc"
#undef KXREPORT_TERM
};

constexpr bool rows_hold() {
  for (const term_row& row : ROWS) {
    const bool collects = row.kind == value_kind::list || row.kind == value_kind::table;
    if (row.children.empty() == kind_has_children(row.kind) || (collects && row.children.size() != 1)) {
      return false;
    }
  }
  return true;
}
static_assert(rows_hold());

}  // namespace

const term_row& term_get(term what) {
  return ROWS[static_cast<size_t>(what)];
}

const char* unit_name(value_unit unit) {
  switch (unit) {
    case value_unit::none:
      break;
    case value_unit::amperes:
      return "amperes";
    case value_unit::bauds:
      return "bauds";
    case value_unit::celsius:
      return "celsius";
    case value_unit::seconds:
      return "seconds";
    case value_unit::transfers_per_second:
      return "transfers_per_second";
    case value_unit::unit_intervals:
      return "unit_intervals";
    case value_unit::volts:
      return "volts";
    case value_unit::watts:
      return "watts";
  }
  return "";
}

std::string term_json_name(term what) {
  const term_row& row = term_get(what);
  const char* unit = unit_name(row.unit);
  return std::string(row.name) + (*unit == '\0' ? "" : "_") + unit;
}
