// Words of a diagnostic command: any text reads as an integer, and a decimal number reads as it was written.
#include <cstdlib>
#include <string>

#include "dpp_diag/dpp_cmd.h"

namespace {

void require(bool condition) {
  if (!condition) {
    abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const uint32_t value = dpp_atoi(text.c_str());
  require(dpp_atoi(std::to_string(value).c_str()) == value);
  const DppCmdEntry* entry = dpp_cmd_find(text.c_str());
  require(entry == nullptr || text.c_str() == std::string(entry->name));
  return 0;
}
