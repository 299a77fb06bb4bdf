#include "common/report.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "common/status_line.h"

namespace {

constexpr const char* COLOUR_END = "\033[m";

// Prints the text with the colour's end before its final newline, so that the colour never leaks into the next line.
void print_coloured(const kx_line_style& style, const char* function, int line, const char* format, va_list args) {
  char text[1024];
  const int length = vsnprintf(text, sizeof text, format, args);
  if (length < 0) {
    return;
  }
  size_t end = strlen(text);
  const bool newline = end > 0 && text[end - 1] == '\n';
  if (newline) {
    text[--end] = '\0';
  }
  printf("%s%s[%s][%d]%s%s%s%s", style.colour, style.prefix, function, line, style.gap, text, COLOUR_END,
         newline ? "\n" : "");
}

}  // namespace

int32_t kx_line_print(const kx_line_style& style, const char* function, int line, const char* format, ...) {
  va_list args;
  va_start(args, format);
  flockfile(stdout);
  kx_status_clear();
  if (style.colour != nullptr) {
    print_coloured(style, function, line, format, args);
  } else {
    printf("%s[%s][%d]%s", style.prefix, function, line, style.gap);
    vprintf(format, args);
  }
  fflush(stdout);
  funlockfile(stdout);
  va_end(args);
  return -1;
}

void kx_print(const char* format, ...) {
  va_list args;
  va_start(args, format);
  flockfile(stdout);
  kx_status_clear();
  vprintf(format, args);
  fflush(stdout);
  funlockfile(stdout);
  va_end(args);
}

void kx_error_print(const char* format, ...) {
  va_list args;
  va_start(args, format);
  flockfile(stdout);
  kx_status_clear();
  fflush(stdout);
  vfprintf(stderr, format, args);
  fflush(stderr);
  funlockfile(stdout);
  va_end(args);
}

int kx_exit_status(int status) {
  kx_status_clear();
  if (fflush(stdout) == 0 && ferror(stdout) == 0) {
    return status;
  }
  kx_error_print("kxtool: writing to standard output failed\n");
  return status == 0 ? 1 : status;
}
