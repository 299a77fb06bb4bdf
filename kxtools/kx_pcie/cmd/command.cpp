#include "command.h"

#include <charconv>
#include <cstring>

uint64_t kxpcie_number(kxpcie_target& target, kxpcie_words words, size_t index, const char* what, uint64_t max) {
  const char* const word = words[index];
  const bool hexadecimal = word[0] == '0' && (word[1] == 'x' || word[1] == 'X');
  const char* const begin = hexadecimal ? word + 2 : word;
  const char* const end = word + strlen(word);
  uint64_t number = 0;
  // Takes no sign and no blank, and tells an overflow.
  const auto [rest, error] = std::from_chars(begin, end, number, hexadecimal ? 16 : 10);
  if (error != std::errc() || rest != end || number > max) {
    KXPCIE_FAIL(target, "%s %s is no number from 0 to 0x%llx", what, word, static_cast<unsigned long long>(max));
    return 0;
  }
  return number;
}

uint64_t kxpcie_number_or(kxpcie_target& target, kxpcie_words words, size_t index, const char* what, uint64_t max,
                          uint64_t otherwise) {
  return index < words.size() ? kxpcie_number(target, words, index, what, max) : otherwise;
}

uint32_t kxpcie_value(kxpcie_target& target, kxpcie_words words, size_t index) {
  return static_cast<uint32_t>(kxpcie_number(target, words, index, "value", UINT32_MAX));
}

bool kxpcie_verify_take(kxpcie_words* words) {
  if (words->empty() || strcmp(words->back(), KXPCIE_VERIFY) != 0) {
    return false;
  }
  *words = words->first(words->size() - 1);
  return true;
}
