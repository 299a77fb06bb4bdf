// The words of "regsmem|devmem", checked before anything is touched.
#pragma once

#include <cstdint>

#include "kxtools/unit.h"

inline constexpr uint32_t DEVMEM_LENGTH_MAX = 0x10000;  ///< bytes of one read

struct devmem_request {
  const char* address_word = nullptr;
  const char* length_word = nullptr;  ///< null: one word
  const char* value_word = nullptr;   ///< null: a read
  bool writes = false;
  bool verifies = false;  ///< reads back what it wrote
  uint64_t address = 0;   ///< in card memory
  uint32_t length = 4;    ///< bytes
  uint32_t value = 0;
};

/// Takes the words behind the unit: ["addr"] ADDRESS ["len" BYTES | "val" VALUE ["--verify"]]. False with one line on
/// standard error for other words.
bool devmem_words_parse(uint32_t count, const char* const* words, devmem_request* request);

/// Reads the numbers and finds the place in card memory: hexadecimal after 0x, else decimal; multiples of 4; all bytes
/// in one window of the unit. False with one line; a word that is no number or one out of range is a bad-arguments
/// exit.
bool devmem_request_check(const kxtools_unit& unit, devmem_request* request);
