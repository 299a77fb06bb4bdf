#include "common/nearest.h"

#include <algorithm>
#include <array>
#include <string>

#include "common/report.h"

namespace {

constexpr size_t PREFIX_LENGTH = 3;  // a shorter beginning could be that of too many names

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool begins(std::string_view name, std::string_view word) {
  return word.size() >= PREFIX_LENGTH && name.size() >= word.size() &&
         std::equal(word.begin(), word.end(), name.begin(), [](char a, char b) { return lower(a) == lower(b); });
}

}  // namespace

size_t kx_word_distance(std::string_view a, std::string_view b, size_t limit) {
  if (a.size() > KX_NEAREST_LENGTH || b.size() > KX_NEAREST_LENGTH) {
    return limit;
  }
  // Rows of the table of distances between beginnings: the one being filled and the two before it.
  std::array<std::array<size_t, KX_NEAREST_LENGTH + 1>, 3> rows;
  for (size_t j = 0; j <= b.size(); ++j) {
    rows[0][j] = j;
  }
  for (size_t i = 1; i <= a.size(); ++i) {
    const auto& before = rows[(i - 1) % 3];
    auto& row = rows[i % 3];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const bool same = lower(a[i - 1]) == lower(b[j - 1]);
      row[j] = std::min({before[j] + 1, row[j - 1] + 1, before[j - 1] + (same ? 0 : 1)});
      if (i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) && lower(a[i - 2]) == lower(b[j - 1])) {
        row[j] = std::min(row[j], rows[(i - 2) % 3][j - 2] + 1);
      }
    }
  }
  return std::min(rows[a.size() % 3][b.size()], limit);
}

// One slip in three characters; in words of one or two characters every other word would be one.
kx_nearest::kx_nearest(std::string_view word) : word_(word), limit_(word.size() / 3 + 1), distance_(limit_) {}

void kx_nearest::offer(const char* name) {
  size_t distance = kx_word_distance(word_, name, limit_);
  if (begins(name, word_)) {
    distance = std::min(distance, limit_ - 1);
  }
  if (distance < distance_) {
    distance_ = distance;
    name_ = name;
  }
}

void kx_unknown_word_print(const char* what, const char* word, std::span<const char* const> names) {
  kx_nearest nearest(word);
  std::string all;
  for (const char* name : names) {
    nearest.offer(name);
    all += all.empty() ? "" : ", ";
    all += name;
  }
  if (nearest.name() != nullptr) {
    kx_error_print("kxtool: '%s' is no %s: did you mean '%s'?\n", word, what, nearest.name());
  } else {
    kx_error_print("kxtool: '%s' is no %s: there are %s\n", word, what, all.c_str());
  }
}
