// Lines of the tool and of the driver name function, file and line of their source; a line number changes with every
// edit.
#pragma once

#include <algorithm>
#include <string>

/// `text` with # in place of the number in each "[function][number]", "file.cpp:number", "sheet.rows:number" and
/// "Line:number".
inline std::string without_line_numbers(std::string text) {
  for (const std::string before : {"][", ".cpp:", ".rows:", "Line:"}) {
    for (size_t at = text.find(before); at != std::string::npos; at = text.find(before, at + 1)) {
      const size_t first = at + before.size();
      const size_t end = std::min(text.find_first_not_of("0123456789", first), text.size());
      if (end != first && (before != "][" || text.compare(end, 1, "]") == 0)) {
        text.replace(first, end - first, "#");
      }
    }
  }
  return text;
}
