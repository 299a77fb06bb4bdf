// Command tree and dispatcher: every command, typed or given on the command line, is one line of words that is looked
// up in a static tree of tables and handed with a fresh context to the entry's handler.
#pragma once

#include <cstdint>

#include "device/bar.h"
#include "device/compat.h"

struct kxtools_cmd_context;

inline constexpr uint8_t KXTOOLS_UNGATED = 255;  ///< three times in an entry: its command is not compared

/// Runs a command. `argc`/`argp` of the context hold only the words after the matched entry's name.
/// Returns the command's status; negative means failure, which the dispatcher reports with one verdict line.
using kxtools_cmd_handler = int32_t (*)(kxtools_cmd_context* ctx);

/// One element of a command table. Tables are static arrays, walked by index with a separate count.
struct kxtools_cmd_entry {
  const char* name;             ///< the command word, matched exactly
  const char* help;             ///< one-line help, or a usage block that begins with four blanks; may be null
  kxtools_cmd_handler handler;  ///< null: the entry only groups sub-entries
  uint8_t permission;           ///< lowest permission level that may see and run it: 0 everyone, 1 super user
  uint8_t major;                ///< compatibility: the card's major must be equal; KXTOOLS_UNGATED is not checked
  uint8_t fw_minor;             ///< compatibility: the card's firmware minor must be at least this
  uint8_t drv_minor;            ///< compatibility: the card's driver minor must not be higher
  uint32_t sub_cmd_num;
  const kxtools_cmd_entry* sub_cmd_list;  ///< next level of the tree, or null
  /// Of a module's command: prints its words with their ranges and its purpose, touches nothing. Null: `help` says all.
  void (*usage)(const kxtools_cmd_entry& entry) = nullptr;
};

/// What a handler gets; allocated zeroed for each executed line and freed by the dispatcher.
struct kxtools_cmd_context {
  uint32_t argc;                 ///< words not yet consumed by the walk
  char** argp;                   ///< the words; the walk advances it past every word it consumes
  kxtools_dev_info dev_info;     ///< copy of the bound device, or the device named on this line, whose mapping the
                                 ///< dispatcher undoes; a handler that undoes it earlier sets bar_vaddr to null
  const kxtools_cmd_entry* cmd;  ///< the entry matched last; null after a permission refusal
  uint64_t fw_feature;           ///< firmware feature word
  kxtools_compat_record compat[KXTOOLS_COMPAT_NUM];  ///< indexed by compatibility id
  uint32_t permission;                               ///< the permission level when the line was executed
};

/// Module ids: the indices of the first seven top-level entries.
enum kxtools_module : uint32_t {
  KXTOOLS_MODULE_KXTOOL = 0,
  KXTOOLS_MODULE_KXNP = 1,
  KXTOOLS_MODULE_KXPCIE = 2,
  KXTOOLS_MODULE_KXVQM = 3,
  KXTOOLS_MODULE_KXTRACE_APP = 4,
  KXTOOLS_MODULE_KXBTTL = 5,
  KXTOOLS_MODULE_KXRDMA = 6,
  KXTOOLS_MODULE_NUM
};

/// Runs one command line. Returns -1 for an empty or null line, a failed walk or a failed preparation step (each with
/// its message), else the handler's own result.
int32_t kxtools_cmd_execute(const char* line);

/// The gate: 0 when the matched entry of `ctx` may run on the context's records, -1 with a message when not.
int32_t kxtools_compat_version_check(const kxtools_cmd_context* ctx);

/// Whether the line asks for the usage of a module, a group or a command of kxnp to kxbttl: its sole word behind the
/// name is "-h" or "--help". Such a line prints the usage; no command runs and no card is needed.
bool kxtools_cmd_is_usage(const char* line);

/// Hangs `table` (`count` entries, static life time) under the top-level entry `module_id` (0 to 6).
/// Returns 0, or -1 for a higher id. Called once a module by the module's own init.
int32_t kxtools_cmd_register(uint32_t module_id, const kxtools_cmd_entry* table, uint32_t count);

const kxtools_cmd_entry* kxtools_cmd_list_addr_get();
uint32_t kxtools_cmd_list_count_get();
/// The sub-table of a module; null for a module id above 6 or a module without sub-entries.
const kxtools_cmd_entry* kxtools_cmd_sub_list_addr_get(uint32_t module_id);

/// Finds the top-level entry under which `entry` lies (it, its sub-entries and theirs). Returns 0 or -1 with a message.
int32_t kxtools_module_id_get(const kxtools_cmd_entry* entry, uint32_t* module_id);

/// Index of the first entry named exactly `word`. Returns 0, or -1 (silently when there is none).
int32_t kxtools_cmd_index_get(const char* word, const kxtools_cmd_entry* table, uint32_t count, uint32_t* index);

/// Flag 1 for an entry of the kxtool module whose first word is not a device ("repair"). Returns 0 or -1.
int32_t kxtools_is_not_kxtool_cmd_format(const kxtools_cmd_entry* entry, uint32_t* flag);

/// True for a maintenance command that asks the kernel driver, which the word `device` leads to, and changes nothing on
/// the card: it does without BAR 0 where the kernel keeps that for the driver. Set by the module; nothing is one
/// before.
using kxtools_is_driver_query_fn = bool (*)(const char* command, const char* device);
void kxtools_is_driver_query_set(kxtools_is_driver_query_fn is_driver_query);
bool kxtools_is_driver_query(const char* command, const char* device);

/// "help": the top-level entries that the current level may see; takes no words.
int32_t kxtools_help(kxtools_cmd_context* ctx);
/// Help printer of the module entries; takes no words. Usable as the handler of any grouping entry.
int32_t kxtools_module_help(kxtools_cmd_context* ctx);
/// Prints the usage of the matched entry; of a module or a group, what the name alone prints. Returns 0 or -1.
int32_t kxtools_usage_print(kxtools_cmd_context* ctx);

/// Initialises the modules' device state after a bind (kxnp_dev_init, then kxvqm_dev_init); set by the program entry,
/// because the framework does not know the modules. Returns 0 or -1.
using kxtools_module_dev_init_fn = int32_t (*)();
void kxtools_module_dev_init_set(kxtools_module_dev_init_fn init);
int32_t kxtools_module_dev_init();
