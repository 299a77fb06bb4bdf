// What every command is made of: its row, its words, the function it works on.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>

#include "target.h"

/// The words behind the command's name, as many as its row allows.
using kxpcie_words = std::span<const char* const>;

/// Does something to or with the function; what goes wrong stays in `target`.
using kxpcie_run_fn = void (*)(kxpcie_target& target, kxpcie_words words);
/// Writes one report about the function, without disturbing it; reads no more than it shows.
using kxpcie_report_fn = void (*)(FILE* out, kxpcie_target& target);

struct kxpcie_command {
  const char* name;
  const char* help;
  uint8_t permission;  ///< 0 for what only reads, 1 for what writes to the function or changes how it is accessed
  uint8_t words_min;
  uint8_t words_max;
  kxpcie_run_fn run;                  ///< null for a report
  kxpcie_report_fn report = nullptr;  ///< takes no words
};

/// May follow the words of a command whose help names it, and does not count among them.
inline constexpr const char* KXPCIE_VERIFY = "--verify";
/// Takes --verify off the end of the words. True when it stood there.
bool kxpcie_verify_take(kxpcie_words* words);

/// Reads word `index` as a number, decimal or hexadecimal with 0x, from 0 to `max`. Anything else is a failure, whose
/// line names `what`, and gives 0.
uint64_t kxpcie_number(kxpcie_target& target, kxpcie_words words, size_t index, const char* what, uint64_t max);
/// The same for a word that may be left out.
uint64_t kxpcie_number_or(kxpcie_target& target, kxpcie_words words, size_t index, const char* what, uint64_t max,
                          uint64_t otherwise);
/// The same for a 32-bit register value.
uint32_t kxpcie_value(kxpcie_target& target, kxpcie_words words, size_t index);
