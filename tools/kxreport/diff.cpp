#include "diff.h"

#include <algorithm>
#include <string>
#include <unordered_map>

#include "views.h"

namespace {

constexpr size_t WORD_DIGITS = 8;

class comparer {
 public:
  explicit comparer(value_sink* out) : out_(out) {}

  size_t rows() const {
    return rows_;
  }
  void groups(const std::string& path, const value& first, const value& second) {
    for (const term what : first.row().children) {
      if (!path.empty() && term_get(what).kind == value_kind::label) {
        continue;  // what belongs together has the same
      }
      const value* one = first.find(what);
      const value* other = second.find(what);
      if (one != nullptr || other != nullptr) {
        const value none = {what, 0, {}, {}};
        pair(path, one, other, none);
      }
    }
  }

 private:
  void row(const std::string& path, const std::string& first, const std::string& second) {
    ++rows_;
    out_->begin(term::difference);
    out_->text(term::path, path);
    out_->text(term::first, first);
    out_->text(term::second, second);
    out_->end();
  }

  void pair(const std::string& path, const value* first, const value* second, const value& none) {
    const value& shape = first == nullptr ? *second : *first;
    const std::string below = path + (path.empty() ? "" : " ") + name_text(shape);
    switch (shape.row().kind) {
      case value_kind::group:
        groups(below, first == nullptr ? none : *first, second == nullptr ? none : *second);
        return;
      case value_kind::list:
      case value_kind::table:
        lists(below, first == nullptr ? none : *first, second == nullptr ? none : *second);
        return;
      default:
        single(below, first, second);
    }
  }

  void single(const std::string& path, const value* first, const value* second) {
    const term what = (first == nullptr ? second : first)->what;
    if (what == term::config_space) {
      return;  // the registers of the function are the same, with names
    }
    if (first != nullptr && second != nullptr && first->row().kind == value_kind::word &&
        first->text.size() == second->text.size() && first->text.size() > 2 + 2 * WORD_DIGITS) {
      words(path, first->text, second->text);
    } else if (first == nullptr || second == nullptr || first->number != second->number ||
               first->text != second->text) {
      row(path, first == nullptr ? "" : value_text(*first), second == nullptr ? "" : value_text(*second));
    }
  }

  // Long ones: only the 32 bits that differ.
  void words(const std::string& path, const std::string& first, const std::string& second) {
    for (size_t at = 2; at < first.size(); at += WORD_DIGITS) {
      const std::string one = first.substr(at, WORD_DIGITS);
      const std::string other = second.substr(at, WORD_DIGITS);
      if (one != other) {
        char place[24];
        snprintf(place, sizeof place, " 0x%03zx", (at - 2) / 2);
        row(path + place, "0x" + one, "0x" + other);
      }
    }
  }

  void lists(const std::string& path, const value& first, const value& second) {
    if (!kind_has_children(term_get(first.row().children[0]).kind)) {
      texts(path, first, second);
      return;
    }
    const std::vector<std::string> labels = labels_of(first);
    const std::vector<std::string> other_labels = labels_of(second);
    std::unordered_map<std::string_view, size_t> others;
    for (size_t i = 0; i < other_labels.size(); ++i) {
      others.emplace(other_labels[i], i);
    }
    const value none = {first.row().children[0], 0, {}, {}};
    for (size_t i = 0; i < labels.size(); ++i) {
      const auto other = others.find(labels[i]);
      groups(path + labels[i], first.children[i], other == others.end() ? none : second.children[other->second]);
      if (other != others.end()) {
        others.erase(other);
      }
    }
    for (size_t i = 0; i < other_labels.size(); ++i) {
      if (others.contains(other_labels[i])) {
        groups(path + other_labels[i], none, second.children[i]);
      }
    }
  }

  // Those that are alike are told apart by their order.
  static std::vector<std::string> labels_of(const value& list) {
    std::vector<std::string> labels;
    std::unordered_map<std::string, size_t> seen;
    for (const value& one : list.children) {
      const std::string label = labels_text(one);
      const size_t before = seen[label]++;
      labels.push_back((label.empty() ? "" : " ") + label + (before == 0 ? "" : " #" + std::to_string(before + 1)));
    }
    return labels;
  }

  void texts(const std::string& path, const value& first, const value& second) {
    const auto joined = [](const value& list) {
      std::string text;
      for (const value& one : list.children) {
        text += (text.empty() ? "" : "; ") + value_text(one);
      }
      return text;
    };
    const std::string one = joined(first);
    const std::string other = joined(second);
    if (one != other) {
      row(path, one, other);
    }
  }

  value_sink* out_;
  size_t rows_ = 0;
};

}  // namespace

size_t reports_compare(const value& first, const value& second, value_sink* out) {
  comparer compare(out);
  compare.groups("", first.find(term::cards)->children[0], second.find(term::cards)->children[0]);
  return compare.rows();
}
