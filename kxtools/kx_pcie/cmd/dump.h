// Dumps: address, hexadecimal words, text.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>

#include "target.h"

/// Reads the word at `address`. Returns 0, or negative with a message.
using kxpcie_word_reader = std::function<int32_t(uint64_t address, uint32_t* value)>;

/// Writes `words` words from `address` on, four a line. The text shows the bytes in their order in memory. A word that
/// cannot be read ends the dump behind the words before it; so does an interrupt.
void kxpcie_dump_write(FILE* out, kxpcie_target& target, uint64_t address, uint64_t words,
                       const kxpcie_word_reader& read);

/// The same into a file of that name, with a progress bar, or to standard output for a null name.
void kxpcie_dump_save(kxpcie_target& target, const char* file, uint64_t address, uint64_t words,
                      const kxpcie_word_reader& read);
