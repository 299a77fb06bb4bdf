// Lines of table entries, shared by the search engine's printers.
#pragma once

#include <cstdint>

/// "LABEL[INDEX]: " and the words, four to a line.
void se_words_print(const char* label, uint32_t index, const uint32_t* words, uint32_t word_num);
/// "LABEL: " and the bytes in hexadecimal.
void se_bytes_print(const char* label, const uint8_t* bytes, uint32_t byte_num);
