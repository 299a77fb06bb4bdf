// The words of a line of a command sheet.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cmd_gen {

enum class word_kind { name, number, text, sign, end };

struct word {
  word_kind kind = word_kind::end;
  std::string text;  // a name, a sign, or a text with its escapes resolved
  uint32_t number = 0;
};

/// Splits a line; the last word is of kind end. Nothing when a text is left open or a number is none.
std::optional<std::vector<word>> words_split(std::string_view line);

/// The conversions of a print text, in order: true for one of 64 bits. Nothing when one is unknown.
std::optional<std::vector<bool>> conversions_of(const std::string& text);

}  // namespace cmd_gen
