#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "dpp_row.h"
#include "dpp_row_conversion.h"

void dpp_row_format(char* out, uint32_t size, const char* text, std::span<const uint64_t> values) {
  char* const end = out + size;
  // The generator lets no other conversions into a text than those that are handed on here.
  const auto put = [&out, end](const char* form, auto... what) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    out += std::min<ptrdiff_t>(snprintf(out, static_cast<size_t>(end - out), form, what...), end - out - 1);
#pragma GCC diagnostic pop
  };
  auto value = values.begin();
  *out = '\0';
  while (*text != '\0') {
    const char* const percent = text + strcspn(text, "%");
    put("%.*s", static_cast<int>(percent - text), text);
    if (*percent == '\0') {
      return;
    }
    dpp_row_conversion how;
    text = how.read(percent + 1);
    const std::string form(percent, text);  // short enough to take no memory
    const unsigned long long number = how.letter != '%' && value != values.end() ? *value++ : 0;
    how.wide ? put(form.c_str(), number) : put(form.c_str(), static_cast<uint32_t>(number));
  }
}
