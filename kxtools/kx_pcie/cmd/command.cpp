#include "command.h"

#include <charconv>
#include <cstring>

#include "common/report.h"

bool kxpcie_number_read(const char* word, const char* what, uint64_t max, uint64_t* value) {
  const bool hexadecimal = word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
  const char* const begin = hexadecimal ? word + 2 : word;
  const char* const end = word + strlen(word);
  uint64_t number = 0;
  // Takes no sign and no blank, and tells an overflow.
  const auto [rest, error] = std::from_chars(begin, end, number, hexadecimal ? 16 : 10);
  if (error != std::errc() || rest != end || number > max) {
    KXTOOLS_ERR("%s %s is no number from 0 to 0x%llx\n", what, word, static_cast<unsigned long long>(max));
    return false;
  }
  *value = number;
  return true;
}

bool kxpcie_verify_take(kxpcie_words* words) {
  if (words->empty() || strcmp(words->back(), KXPCIE_VERIFY) != 0) {
    return false;
  }
  *words = words->first(words->size() - 1);
  return true;
}

bool kxpcie_value_read(const char* word, uint32_t* value) {
  uint64_t number = 0;
  if (!kxpcie_number_read(word, "value", UINT32_MAX, &number)) {
    return false;
  }
  *value = static_cast<uint32_t>(number);
  return true;
}
