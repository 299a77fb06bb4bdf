// The driver's command table: every function of the driver that can be called by name, from the tool's kxnp module and
// from the driver's own debug shell. The table is constant; its records are made when they are asked for, so that
// thousands of names cost nothing when the program starts. Commands run on one thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "dpp_diag/dpp_cmd_num.h"
#include "qlix_comm/check.h"

struct DppCmdEntry;

/// What a command wrote to the card: the first registers or words as one line of text, and how many there were.
struct DppCmdWrites {
  uint32_t num = 0;
  uint32_t shown = 0;  ///< how many stand in the text
  char text[320] = "";

  void add(const char* written);
};

/// What a command is called with. Values beyond `num` are 0.
struct DppCmdArgs {
  uint32_t num = 0;
  uint32_t value[DPP_CMD_ARG_MAX] = {};
  const char* text = "";           ///< for commands with int_args 0
  DppCmdWrites* writes = nullptr;  ///< is told what the command writes, where it prints nothing of that; may be null
};

/// Returns 0 or the code of what failed, which has been traced.
using dpp_cmd_func = uint32_t (*)(const DppCmdEntry& self, const DppCmdArgs& args);

struct DppCmdEntry {
  const char* name;
  dpp_cmd_func func;
  const char* help;    ///< empty but for the words of the debug shell
  uint32_t int_args;   ///< 1: words become integers; 0: all words are one text
  uint32_t in_driver;  ///< 1: a function of the driver; 0: a word of the debug shell itself
};

/// The record with that name, the first in table order, or null. Constant time. The record stays where it is.
const DppCmdEntry* dpp_cmd_find(const char* name);
/// The record at a place of the table, null from DPP_CMD_NUM on.
const DppCmdEntry* dpp_cmd_get(uint32_t index);

/// A command of the tool's kxnp list, in its order, and the lowest permission level that may use it; one of them has no
/// record. The index is below DPP_CMD_LISTED_NUM.
struct DppCmdListed {
  const char* name;
  uint8_t permission;
};
DppCmdListed dpp_cmd_listed_get(uint32_t index);

/// Checks the integers of a command that a sheet describes, as its function does before all else, but reports as `at`.
uint32_t dpp_cmd_ranges_check(const DppCmdEntry& entry, const DppCmdArgs& args,
                              const qlix_comm_detail::source_place& at);

/// Prints the words that the command takes, with their ranges, and what it is for. Touches no card.
void dpp_cmd_usage_print(const DppCmdEntry& entry);
/// Whether the words behind a command's name are the one that asks for its usage, "-h" or "--help".
bool dpp_cmd_is_usage_word(const char* words);

/// The integer of a command word: hexadecimal after 0x or 0X, else decimal with a sign, up to the first character that
/// does not fit. Text that is no number and a null pointer give 0; a negative number gives its two's complement.
uint32_t dpp_atoi(const char* text);
/// Whether all of the word is a number that dpp_atoi reads, of 32 bits with or without a sign.
bool dpp_is_integer(const char* text);
