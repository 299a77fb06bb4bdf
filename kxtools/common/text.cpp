#include "common/text.h"

#include <cstdarg>
#include <cstdio>

std::string kx_text(const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list counted;
  va_copy(counted, args);
  const int length = vsnprintf(nullptr, 0, format, counted);
  va_end(counted);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  vsnprintf(text.data(), text.size() + 1, format, args);
  va_end(args);
  return text;
}
