// What a live view shows: of the looks at a card the first, the one before and the last.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "value.h"

/// A counter that has moved since the start.
struct watch_row {
  std::string unit;
  std::string name;
  double per_second;  ///< between the last two looks
  uint64_t since_start;
  uint64_t now;
  bool error;  ///< its name tells of something that should not be
};

class watch_state {
 public:
  /// Takes the group of a card as it was `seconds` after any fixed moment.
  void take(const value& card, double seconds);
  /// What has moved so far is forgotten.
  void restart();

  /// "45 C, x16 at 16.0 GT/s, 102 checks good": what the last look told of the card.
  const std::string& summary() const {
    return summary_;
  }
  /// What is not as it should be, a line each: why values are missing, checks, alarms.
  const std::vector<std::string>& faults() const {
    return faults_;
  }
  /// Rates of the last look, in the card's order; errors last.
  std::vector<watch_row> rows() const;

 private:
  struct count {
    std::string unit;
    std::string name;
    uint64_t start;
    uint64_t before;
    uint64_t now;
  };
  void counters_take(const value& card);

  std::vector<count> counts_;
  std::unordered_map<std::string, size_t> places_;  // in counts_, by unit and name
  std::string summary_;
  std::vector<std::string> faults_;
  double seconds_ = 0;
  double passed_ = 0;  // between the last two looks
};
