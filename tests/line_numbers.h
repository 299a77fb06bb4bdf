// Error lines name function and line of their source; a line number changes with every edit.
#pragma once

#include <string>

/// `text` with the line number in each "[function][number]" replaced by '#'.
inline std::string without_line_numbers(const std::string& text) {
  std::string result;
  for (size_t i = 0; i < text.size();) {
    const size_t end = text.find_first_not_of("0123456789", i + 2);
    if (text.compare(i, 2, "][") == 0 && end != i + 2 && end < text.size() && text[end] == ']') {
      result += "][#";
      i = end;
    } else {
      result += text[i++];
    }
  }
  return result;
}
