#include "devmem_words.h"

#include <charconv>
#include <cinttypes>
#include <cstring>
#include <string_view>

#include "common/report.h"

namespace {

// Digits only, all of them: no sign, no blank, no octal.
bool number_read(const char* word, uint64_t max, uint64_t* value) {
  std::string_view text = word;
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  text.remove_prefix(hexadecimal ? 2 : 0);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *value, hexadecimal ? 16 : 10);
  if (error == std::errc() && end == text.data() + text.size() && *value <= max) {
    return true;
  }
  KXTOOLS_ERR("'%s' is no number from 0 to 0x%" PRIx64 "\n", word, max);
  return false;
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
  if (count > 0 && strcmp(words[0], "addr") == 0) {
    ++words;
    --count;
  }
  if (count != 1 && count != 3) {
    return false;
  }
  request->address_word = words[0];
  if (count == 1) {
    return true;
  }
  request->writes = strcmp(words[1], "val") == 0;
  (request->writes ? request->value_word : request->length_word) = words[2];
  return request->writes || strcmp(words[1], "len") == 0;
}

bool devmem_request_check(const kxtools_unit& unit, devmem_request* request) {
  uint64_t offset = 0;
  uint64_t length = 4;
  uint64_t value = 0;
  if (!number_read(request->address_word, UINT64_MAX, &offset) || !multiple_of_4("address", offset) ||
      (request->length_word != nullptr &&
       (!number_read(request->length_word, DEVMEM_LENGTH_MAX, &length) || !multiple_of_4("length", length))) ||
      (request->value_word != nullptr && !number_read(request->value_word, UINT32_MAX, &value))) {
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
