// The module's commands as its static lists hold them, and what every command function needs of the line being run.
#pragma once

#include <cstdint>
#include <span>

#include "common/register_description.h"
#include "kxtools/cmd.h"

/// A command function: `base` is the card address of the queue engine's registers, `words` begin with the command words
/// themselves (one for commands in no group, group and command for the others).
using vqm_cmd_function = void (*)(uint64_t base, char** words, uint32_t count);

/// A command of a static list.
struct vqm_cmd_item {
  char name[64];
  uint64_t reference;  ///< first register of the description that the command shows or sets
  uint32_t word;       ///< how many registers follow it, itself included; 0 for commands that use no description
  char help[132];
  kxtools_cmd_handler handler;
  uint8_t permission;
  const char* lists;    ///< of a summary: what it shows, lists of the description with blanks between them
  const char* purpose;  ///< of a command with a function of its own
};

/// A group of commands.
struct vqm_module {
  char name[64];
  const vqm_cmd_item* items;
  uint32_t count;
  uint8_t permission;
};

/// The static lists, in the order in which they enter the module's table.
std::span<const vqm_cmd_item> vqm_short_module_cmds();
std::span<const vqm_cmd_item> vqm_two_stage_cmds();
std::span<const vqm_module> vqm_module_list();

/// The entry of the group to which an item's entry belongs; null for commands in no group.
const kxtools_cmd_entry* vqm_cmd_group_of(const kxtools_cmd_entry* item);

/// The command of that name in the group, or in no group when `group` is null; null when there is none.
const vqm_cmd_item* vqm_cmd_item_find(const char* group, const char* name);

/// Prints a group's entry and all of its items.
void vqm_group_help_print(const kxtools_cmd_entry& group);

/// The same of a group that has no items, and that it has none.
void vqm_empty_group_usage(const kxtools_cmd_entry& group);

/// Prints what "-h" behind the command tells.
void vqm_cmd_usage(const kxtools_cmd_entry& entry);

/// Runs the command function of the matched entry with its words widened by `words_back`.
void vqm_cmd_run(kxtools_cmd_context* ctx, uint32_t words_back, vqm_cmd_function function);

/// The handler of an item. The result of the function does not reach the dispatcher.
template <vqm_cmd_function Function, uint32_t WordsBack>
int32_t vqm_cmd_adapter(kxtools_cmd_context* ctx) {
  vqm_cmd_run(ctx, WordsBack, Function);
  return 0;
}

/// Prints the help of a group: its entry and all of its items.
int32_t kxvqm_module_help(kxtools_cmd_context* ctx);

// For command functions, about the line being run.

/// The registers of the running command.
std::span<const kx_register_description> vqm_cmd_registers();
/// The lists of the running command.
const char* vqm_cmd_lists();
/// How many of `words` are command words.
uint32_t vqm_cmd_words_back();

/// Prints the help of the group of the running command, or of the command alone when it is in none.
void vqm_cmd_help();

/// True when `count` lies in `min` to `max`; else prints which way it is wrong and the help.
bool vqm_cmd_count_check(uint32_t count, uint32_t min, uint32_t max);

/// Reads a word in the notation of C (0x hexadecimal, leading 0 octal). False with a message and the help.
bool vqm_cmd_number(const char* word, uint64_t* value);

/// 0 when `value` lies in `min` to `max`; else 1, with a message and the help.
uint32_t kxvqm_check_para_illegal(int64_t min, int64_t max, int64_t value);
