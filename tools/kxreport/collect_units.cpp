// What the card's units check, count and hold.
#include <algorithm>
#include <cstdio>

#include "collect.h"
#include "common/signals.h"

namespace {

std::string hex_text(uint64_t number, int digits) {
  char text[24];
  snprintf(text, sizeof text, "0x%0*llx", digits, static_cast<unsigned long long>(number));
  return text;
}

std::string words_text(std::span<const uint32_t> words) {
  std::string text = "0x";
  char word[9];
  for (const uint32_t one : words) {
    snprintf(word, sizeof word, "%08x", one);
    text += word;
  }
  return text;
}

/// One list of values on its way from a unit into the report.
struct visit {
  value_sink* out;
  bool details;
  uint32_t values = 0;
  uint32_t failed = 0;
};

using take_fn = bool (*)(void* self, const kxtools_unit_value& one);

bool check_take(void* self, const kxtools_unit_value& one) {
  visit* run = static_cast<visit*>(self);
  ++run->values;
  run->failed += one.good ? 0 : 1;
  if (run->details) {
    run->out->begin(term::check);
    run->out->text(term::name, one.name);
    run->out->flag(term::good, one.good);
    run->out->text(term::word, words_text(one.words));
    if (*one.note != '\0') {
      run->out->text(term::note, one.note);
    }
    run->out->end();
  }
  return kx_signal_guard::raised() == 0;
}

bool counter_take(void* self, const kxtools_unit_value& one) {
  visit* run = static_cast<visit*>(self);
  uint64_t number = 0;
  for (const uint32_t word : one.words) {
    number = number << 32 | word;
  }
  run->out->begin(term::counter);
  run->out->text(term::name, one.name);
  run->out->number(term::value, number);
  run->out->end();
  return kx_signal_guard::raised() == 0;
}

bool register_take(void* self, const kxtools_unit_value& one) {
  visit* run = static_cast<visit*>(self);
  run->out->begin(term::register_);
  run->out->text(term::name, one.name);
  run->out->text(term::place, hex_text(one.address, 10));
  run->out->text(term::word, words_text(one.words));
  run->out->end();
  return kx_signal_guard::raised() == 0;
}

std::vector<const kxtools_unit*> units_chosen(const collect_request& request, kxtools_unit_list list) {
  std::vector<const kxtools_unit*> chosen;
  for (const kxtools_unit* unit : units_all()) {
    const auto names = [unit](const std::string& word) { return word == unit->name; };
    if (unit->count(list) != 0 &&
        (request.units.empty() || std::any_of(request.units.begin(), request.units.end(), names))) {
      chosen.push_back(unit);
    }
  }
  return chosen;
}

void unit_visit(const kxtools_unit& unit, kxtools_unit_list list, take_fn take, visit* run, collect_errors* errors) {
  if ((unit.open != nullptr && unit.open() != 0) || unit.visit(list, take, run) != 0) {
    errors->push_back(std::string(unit.name) + " cannot be read");
  }
}

/// Where a list of values goes: the terms of unit and values, and what is said of those that are not read.
struct destination {
  kxtools_unit_list steady;
  kxtools_unit_list all;
  term units;
  term unit;
  term values;
  take_fn take;
};
constexpr destination COUNTERS = {kxtools_unit_list::steady_counters,
                                  kxtools_unit_list::counters,
                                  term::counters,
                                  term::counter_unit,
                                  term::unit_counters,
                                  counter_take};
constexpr destination REGISTERS = {kxtools_unit_list::steady_registers,
                                   kxtools_unit_list::registers,
                                   term::registers,
                                   term::register_unit,
                                   term::unit_registers,
                                   register_take};

void values_collect(const collect_request& request, const destination& where, value_sink* out, collect_errors* errors) {
  out->begin(where.units);
  for (const kxtools_unit* unit : units_chosen(request, where.all)) {
    if (kx_signal_guard::raised() != 0) {
      break;
    }
    out->begin(where.unit);
    out->text(term::unit, unit->name);
    out->gauge(term::left_out, int64_t{unit->count(where.all)} - unit->count(where.steady));
    out->begin(where.values);
    visit run = {.out = out, .details = true};
    unit_visit(*unit, where.steady, where.take, &run, errors);
    out->end();
    out->end();
  }
  out->end();
}

}  // namespace

void health_collect(const collect_request& request, value_sink* out, collect_errors* errors) {
  const bool details = (request.sections & SECTION_CHECKS) != 0;
  const size_t errors_before = errors->size();
  visit all = {.out = out, .details = details};
  out->begin(term::health);
  out->begin(term::check_units);
  for (const kxtools_unit* unit : units_chosen(request, kxtools_unit_list::checks)) {
    if (kx_signal_guard::raised() != 0) {
      break;
    }
    visit run = {.out = out, .details = details};
    out->begin(term::check_unit);
    out->text(term::unit, unit->name);
    if (details) {
      out->begin(term::checks);
    }
    unit_visit(*unit, kxtools_unit_list::checks, check_take, &run, errors);
    if (details) {
      out->end();
    }
    out->gauge(term::checks_done, run.values);
    out->gauge(term::checks_failed, run.failed);
    out->end();
    all.values += run.values;
    all.failed += run.failed;
  }
  out->end();
  out->gauge(term::checks_done, all.values);
  out->gauge(term::checks_failed, all.failed);
  out->flag(term::healthy, all.failed == 0 && errors->size() == errors_before && kx_signal_guard::raised() == 0);
  out->end();
}

void counters_collect(const collect_request& request, value_sink* out, collect_errors* errors) {
  values_collect(request, COUNTERS, out, errors);
}

void registers_collect(const collect_request& request, value_sink* out, collect_errors* errors) {
  values_collect(request, REGISTERS, out, errors);
}
