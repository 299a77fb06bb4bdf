// What every command is made of: its row, its words, the function it works on.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>

#include "device/address.h"

/// The words behind the command's name, as many as its row allows.
using kxpcie_words = std::span<const char* const>;

/// Does something to or with the function. Returns 0, or negative with a message.
using kxpcie_run_fn = int32_t (*)(kxtools_sbdf sbdf, kxpcie_words words);
/// Writes one report about the function, without disturbing it. Returns 0, or negative with a message (not in `out`).
using kxpcie_report_fn = int32_t (*)(FILE* out, kxtools_sbdf sbdf);

struct kxpcie_command {
  const char* name;
  const char* help;
  uint8_t permission;  ///< 0 for what only reads, 1 for what writes to the function or changes how it is accessed
  uint8_t words_min;
  uint8_t words_max;
  kxpcie_run_fn run;        ///< null for a report
  kxpcie_report_fn report;  ///< takes no words
};

/// May follow the words of a command whose help names it, and does not count among them.
inline constexpr const char* KXPCIE_VERIFY = "--verify";
/// Takes --verify off the end of the words. True when it stood there.
bool kxpcie_verify_take(kxpcie_words* words);

/// Reads a word as a number, decimal or hexadecimal with 0x, from 0 to `max`. False with a message that names `what`.
bool kxpcie_number_read(const char* word, const char* what, uint64_t max, uint64_t* value);
/// The same for a 32-bit register value.
bool kxpcie_value_read(const char* word, uint32_t* value);
