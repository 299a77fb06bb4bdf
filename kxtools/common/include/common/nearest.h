// The word that was meant: for words that name nothing, the name that is spelled most alike.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

/// Goes through names one after the other and keeps the one that is most alike. Letter case does not count; a name that
/// the word begins counts as alike from three characters on.
class kx_nearest {
 public:
  explicit kx_nearest(std::string_view word);
  void offer(const char* name);
  /// The first of the most alike names, or null when none is alike enough to be meant.
  const char* name() const {
    return name_;
  }

 private:
  std::string_view word_;
  size_t limit_;     ///< a name at this distance is another word
  size_t distance_;  ///< of the name kept
  const char* name_ = nullptr;
};

/// How many characters must be put in, left out, replaced or exchanged with their neighbour to make `b` of `a`; `limit`
/// when it is that or more. At most KX_NEAREST_LENGTH characters of each, longer ones are at the limit.
size_t kx_word_distance(std::string_view a, std::string_view b, size_t limit);
inline constexpr size_t KX_NEAREST_LENGTH = 64;

/// Says on standard error that `word` is no `what`, such as "unit of the card", with the name that was meant or, when
/// nothing is alike, all names.
void kx_unknown_word_print(const char* what, const char* word, std::span<const char* const> names);

/// The names of a table's rows, for that line.
template <typename Rows, typename Name>
std::vector<const char*> kx_names_of(const Rows& rows, Name name) {
  std::vector<const char*> names;
  for (const auto& row : rows) {
    names.push_back(std::invoke(name, row));
  }
  return names;
}
