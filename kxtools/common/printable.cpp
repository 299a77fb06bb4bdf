#include "common/printable.h"

#include <algorithm>

std::string kx_printable(std::string_view text, char other) {
  std::string safe(text);
  std::replace_if(
      safe.begin(), safe.end(), [](char c) { return !kx_is_printable(c); }, other);
  return safe;
}
