#include "watch_state.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "views.h"

namespace {

bool tells_of_errors(std::string_view name) {
  for (const char* part : {"err", "disc", "drop", "fail", "crc"}) {
    if (name.find(part) != std::string_view::npos) {
      return true;
    }
  }
  return false;
}

const value* below(const value* group, term what) {
  return group == nullptr ? nullptr : group->find(what);
}

std::string text_of(const value* group, term what) {
  const value* one = below(group, what);
  return one == nullptr ? "" : value_text(*one);
}

void part_add(std::string* summary, const std::string& part) {
  *summary += (summary->empty() || part.empty() ? "" : ", ") + part;
}

std::string summary_of(const value& card) {
  std::string summary = text_of(&card, term::temperature);
  if (const value* pcie = below(card.find(term::link), term::pcie); pcie != nullptr) {
    part_add(&summary, std::string("x").append(text_of(pcie, term::width)) + " at " + text_of(pcie, term::speed));
  }
  if (const value* health = card.find(term::health); health != nullptr) {
    const std::string failed = text_of(health, term::checks_failed);
    part_add(&summary, text_of(health, term::checks_done) + " checks, " + failed + " failed");
  }
  return summary;
}

void checks_add(const value& card, std::vector<std::string>* faults) {
  const value* units = below(card.find(term::health), term::check_units);
  for (size_t i = 0; units != nullptr && i < units->children.size(); ++i) {
    const value* checks = units->children[i].find(term::checks);
    for (size_t j = 0; checks != nullptr && j < checks->children.size(); ++j) {
      const value& one = checks->children[j];
      if (const value* good = one.find(term::good); good != nullptr && good->number == 0) {
        std::string line = text_of(&units->children[i], term::unit);
        line.append(" ").append(text_of(&one, term::name)).append(": ").append(text_of(&one, term::word));
        faults->push_back(line.append(" ").append(text_of(&one, term::note)));
      }
    }
  }
}

std::vector<std::string> faults_of(const value& card) {
  std::vector<std::string> faults;
  const value* link = card.find(term::link);
  const value* alarms = below(below(link, term::module_), term::alarms);
  const value* best = below(below(link, term::pcie), term::at_best);
  if (const value* errors = card.find(term::errors); errors != nullptr) {
    for (const value& error : errors->children) {
      faults.push_back(value_text(error));
    }
  }
  if (best != nullptr && best->number == 0) {
    faults.emplace_back("the PCIe link is below its best");
  }
  for (size_t i = 0; alarms != nullptr && i < alarms->children.size(); ++i) {
    faults.push_back(std::string("module: ").append(value_text(alarms->children[i])));
  }
  checks_add(card, &faults);
  return faults;
}

}  // namespace

void watch_state::counters_take(const value& card) {
  const value* units = card.find(term::counters);
  for (size_t i = 0; units != nullptr && i < units->children.size(); ++i) {
    const std::string unit = text_of(&units->children[i], term::unit);
    const value* counters = units->children[i].find(term::unit_counters);
    for (size_t j = 0; counters != nullptr && j < counters->children.size(); ++j) {
      const value& one = counters->children[j];
      const value* number = one.find(term::value);
      const std::string name = text_of(&one, term::name);
      if (number == nullptr) {
        continue;
      }
      std::string key = unit;
      key.append(1, ' ').append(name);
      const auto [place, is_new] = places_.emplace(std::move(key), counts_.size());
      if (is_new) {
        counts_.push_back({unit, name, number->number, number->number, number->number});
      }
      count& counted = counts_[place->second];
      counted.before = counted.now;
      counted.now = number->number;
      // A card that was reset counts anew.
      if (counted.now < counted.before) {
        counted.start = counted.before = counted.now;
      }
    }
  }
}

void watch_state::take(const value& card, double seconds) {
  passed_ = seconds - seconds_;
  seconds_ = seconds;
  summary_ = summary_of(card);
  faults_ = faults_of(card);
  counters_take(card);
}

void watch_state::restart() {
  for (count& one : counts_) {
    one.start = one.now;
  }
}

std::vector<watch_row> watch_state::rows() const {
  std::vector<watch_row> rows;
  for (const count& one : counts_) {
    if (one.now != one.start) {
      rows.push_back({.unit = one.unit,
                      .name = one.name,
                      .per_second = passed_ > 0 ? static_cast<double>(one.now - one.before) / passed_ : 0,
                      .since_start = one.now - one.start,
                      .now = one.now,
                      .error = tells_of_errors(one.name)});
    }
  }
  std::stable_sort(rows.begin(), rows.end(), [](auto& a, auto& b) { return a.error < b.error; });
  return rows;
}
