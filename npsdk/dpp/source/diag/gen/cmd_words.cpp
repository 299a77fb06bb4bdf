#include "cmd_words.h"

#include <cctype>
#include <cstring>

#include "csv.h"
#include "dpp_row_conversion.h"

namespace cmd_gen {

namespace {

bool is_name_char(char c) {
  return isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// Takes a text in double quotes off `rest`; false when it is left open.
bool text_take(std::string_view& rest, std::string& out) {
  for (size_t i = 1; i < rest.size(); ++i) {
    if (rest[i] == '"') {
      rest.remove_prefix(i + 1);
      return true;
    }
    if (rest[i] == '\\' && i + 1 < rest.size()) {
      ++i;
      out += rest[i] == 'n' ? '\n' : rest[i] == 't' ? '\t' : rest[i];
    } else {
      out += rest[i];
    }
  }
  return false;
}

}  // namespace

std::optional<std::vector<word>> words_split(std::string_view line) {
  std::vector<word> out;
  while (!line.empty()) {
    const char c = line[0];
    if (c == ' ' || c == '\t') {
      line.remove_prefix(1);
      continue;
    }
    word next;
    if (c == '"') {
      next.kind = word_kind::text;
      if (!text_take(line, next.text)) {
        return std::nullopt;
      }
    } else if (is_name_char(c)) {
      size_t length = 1;
      while (length < line.size() && is_name_char(line[length])) {
        ++length;
      }
      next.text = line.substr(0, length);
      line.remove_prefix(length);
      next.kind = isdigit(static_cast<unsigned char>(c)) != 0 ? word_kind::number : word_kind::name;
      if (next.kind == word_kind::number) {
        const std::optional<uint32_t> number = reg_gen::csv_number(next.text);
        if (!number) {
          return std::nullopt;
        }
        next.number = *number;
      }
    } else {
      next.kind = word_kind::sign;
      next.text = line.starts_with("..") ? ".." : std::string(1, c);
      line.remove_prefix(next.text.size());
    }
    out.push_back(next);
  }
  out.emplace_back();
  return out;
}

std::optional<std::vector<bool>> conversions_of(const std::string& text) {
  std::vector<bool> out;
  for (const char* at = strchr(text.c_str(), '%'); at != nullptr; at = strchr(at, '%')) {
    if (at[1] == '%') {
      at += 2;
      continue;
    }
    dpp_row_conversion conversion;
    at = conversion.read(at + 1);
    if (conversion.letter != 'u' && conversion.letter != 'd' && conversion.letter != 'x') {
      return std::nullopt;
    }
    out.push_back(conversion.wide);
  }
  return out;
}

}  // namespace cmd_gen
