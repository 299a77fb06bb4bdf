// The EEPROM of a plugged module: whatever it holds, texts are printable and ended.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "port/module_decode.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  module_info info;
  module_decode({data, size}, &info);
  for (const char* text : {info.vendor, info.part, info.revision, info.serial, info.date}) {
    for (; *text != '\0'; ++text) {
      if (*text < ' ' || *text > '~') {
        abort();
      }
    }
  }
  return 0;
}
