#include "devmem_words.h"

#include <cinttypes>
#include <cstring>

#include "common/nearest.h"
#include "common/report.h"
#include "startup/exit.h"

namespace {

constexpr const char* VERIFY = "--verify";

// Hexadecimal after 0x, else decimal: an address with a leading 0 is not octal.
uint64_t number_get(const char* word, int64_t max) {
  const bool hexadecimal = word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
  return static_cast<uint64_t>(kxtool_number_get(word, hexadecimal ? 16 : 10, 0, max));
}

bool multiple_of_4(const char* what, uint64_t value) {
  if (value % 4 == 0) {
    return true;
  }
  KXTOOLS_ERR("%s 0x%" PRIx64 " is not a multiple of 4\n", what, value);
  return false;
}

bool place_find(const kxtools_unit& unit, uint64_t offset, devmem_request* request) {
  for (const kxtools_unit_window& window : unit.windows) {
    if (offset >= window.offset && offset - window.offset < window.size) {
      const uint64_t room = window.size - (offset - window.offset);
      if (request->length > room) {
        KXTOOLS_ERR("0x%x bytes at 0x%" PRIx64 " reach beyond the window, which ends in 0x%" PRIx64 " bytes\n",
                    request->length, offset, room);
        return false;
      }
      request->address = window.address + (offset - window.offset);
      return true;
    }
  }
  const kxtools_unit_window& last = unit.windows.back();
  KXTOOLS_ERR("0x%" PRIx64 " is no address of %s, which has some from 0x0 to 0x%" PRIx64 "\n", offset, unit.name,
              last.offset + last.size - 1);
  return false;
}

}  // namespace

bool devmem_words_parse(uint32_t count, const char* const* words, devmem_request* request) {
  static constexpr const char* ACCESSES[] = {"len", "val"};
  if (count > 0 && strcmp(words[0], "addr") == 0) {
    ++words;
    --count;
  }
  if (count == 0) {
    kx_error_print("kxtool: devmem: the address behind the unit is missing\n");
    return false;
  }
  request->address_word = words[0];
  if (count == 1) {
    return true;
  }
  request->writes = strcmp(words[1], ACCESSES[1]) == 0;
  if (!request->writes && strcmp(words[1], ACCESSES[0]) != 0) {
    kx_unknown_word_print("word behind the address", words[1], ACCESSES);
    return false;
  }
  if (count == 2) {
    kx_error_print("kxtool: devmem: the number behind '%s' is missing\n", words[1]);
    return false;
  }
  (request->writes ? request->value_word : request->length_word) = words[2];
  request->verifies = request->writes && count == 4 && strcmp(words[3], VERIFY) == 0;
  if (count > 3 && !request->verifies) {
    kx_error_print("kxtool: devmem: '%s' is one word too many%s\n", words[request->writes && count > 4 ? 4 : 3],
                   request->writes ? "; only --verify may follow the value" : "");
    return false;
  }
  return true;
}

bool devmem_request_check(const kxtools_unit& unit, devmem_request* request) {
  const uint64_t offset = number_get(request->address_word, INT64_MAX);
  const uint64_t length = request->length_word != nullptr ? number_get(request->length_word, DEVMEM_LENGTH_MAX) : 4;
  const uint64_t value = request->value_word != nullptr ? number_get(request->value_word, UINT32_MAX) : 0;
  if (!multiple_of_4("address", offset) || !multiple_of_4("length", length)) {
    return false;
  }
  if (length == 0) {
    KXTOOLS_ERR("a length of 0 reads nothing\n");
    return false;
  }
  request->length = static_cast<uint32_t>(length);
  request->value = static_cast<uint32_t>(value);
  return place_find(unit, offset, request);
}
