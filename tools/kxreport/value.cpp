#include "value.h"

const value* value::find(term child) const {
  for (const value& one : children) {
    if (one.what == child) {
      return &one;
    }
  }
  return nullptr;
}

value* value_builder::add(term what) {
  std::vector<value>& children = open_.back()->children;
  children.push_back({.what = what});
  return &children.back();
}

void value_builder::begin(term what) {
  open_.push_back(add(what));
}

void value_builder::end() {
  if (open_.size() > 1) {
    open_.pop_back();
  }
}

void value_builder::number(term what, uint64_t number) {
  add(what)->number = number;
}

void value_builder::text(term what, std::string_view text) {
  add(what)->text = text;
}
