#include "host/status.h"

#include <cstdarg>
#include <cstdio>

namespace vcard {

int host_error(int status, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  fprintf(stderr, "kxvcard: %s\n", text);
  return status;
}

}  // namespace vcard
