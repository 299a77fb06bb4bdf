// A report: a tree of values. It is made first, by whoever asks the card; the views then show it, and know no command.
#pragma once

#include <bit>
#include <string>
#include <string_view>
#include <vector>

#include "term.h"

struct value {
  term what;
  uint64_t number = 0;          ///< flag, gauge, counter; the bits of a real
  std::string text;             ///< of the kinds that are text; any bytes
  std::vector<value> children;  ///< of groups, lists and tables

  const term_row& row() const {
    return term_get(what);
  }
  int64_t gauge() const {
    return static_cast<int64_t>(number);
  }
  double real() const {
    return std::bit_cast<double>(number);
  }
  /// The child of that term, or null.
  const value* find(term child) const;
};

/// Takes a report as it is made, front to back. begin() and end() pair; what is begun may stay open at the end.
class value_sink {
 public:
  virtual void begin(term what) = 0;
  virtual void end() = 0;
  virtual void number(term what, uint64_t number) = 0;
  virtual void text(term what, std::string_view text) = 0;

  void flag(term what, bool yes) {
    number(what, yes ? 1 : 0);
  }
  void gauge(term what, int64_t value) {
    number(what, static_cast<uint64_t>(value));
  }
  void real(term what, double value) {
    number(what, std::bit_cast<uint64_t>(value));
  }

 protected:
  ~value_sink() = default;
};

/// Builds the tree below `root`.
class value_builder final : public value_sink {
 public:
  explicit value_builder(value* root) : open_{root} {}
  void begin(term what) override;
  void end() override;
  void number(term what, uint64_t number) override;
  void text(term what, std::string_view text) override;

 private:
  value* add(term what);
  std::vector<value*> open_;  // the innermost last; its address stays while it is open
};
