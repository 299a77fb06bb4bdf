#include "se_print.h"

#include <cstdio>

#include "qlix_comm/print.h"

namespace {

constexpr uint32_t WORDS_A_LINE = 4;
constexpr uint32_t BYTES_MAX = 128;

}  // namespace

void se_words_print(const char* label, uint32_t index, const uint32_t* words, uint32_t word_num) {
  QLIX_COMM_PRINT("%s[0x%06x]:", label, index);
  for (uint32_t i = 0; i < word_num; ++i) {
    const bool line_end = i % WORDS_A_LINE == WORDS_A_LINE - 1 || i == word_num - 1;
    QLIX_COMM_PRINT(" 0x%08x%s", words[i], line_end ? "\n" : "");
  }
}

void se_bytes_print(const char* label, const uint8_t* bytes, uint32_t byte_num) {
  char text[2 * BYTES_MAX + 1] = {};
  for (uint32_t i = 0; i < byte_num && i < BYTES_MAX; ++i) {
    snprintf(text + size_t{2} * i, 3, "%02x", bytes[i]);
  }
  QLIX_COMM_PRINT("%s: %s\n", label, text);
}
