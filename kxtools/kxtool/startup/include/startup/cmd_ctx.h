// The state of the maintenance command that this process runs, and the rows of the command table.
#pragma once

#include <cstdint>

#include "channel/device.h"

struct kxtool_cmd_ctx;

/// Runs a sub-command; returns the exit status of the process, or ends the process itself with kxtool_exit.
using kxtool_option_handler = int (*)(kxtool_cmd_ctx* ctx);

/// One row of kxtool_option_table. A folder contributes a sub-command by declaring its handler in a public header;
/// the table then names it.
struct kxtool_option {
  const char* names;              ///< aliases separated by '|', such as "-f|-fw|fwupdate"; null ends the table early
  bool no_device;                 ///< takes no device word: runs at once, without lock and channel
  bool by_bdf;                    ///< works with a PCI address too, through the mailbox
  bool card_alone;                ///< needs the card's notices, its mailbox or a reset: no other command on it beside
  kxtool_option_handler handler;  ///< null: this build cannot do it; the device is checked, nothing is sent
  const char* usage;              ///< printed for "-h"; null for none
  /// Of a row without handler: what can be done in its place.
  const char* instead = nullptr;
  /// Looks at the words before anything of the device is touched. Returns 0, or the exit status with lines that say
  /// why; what it finds may wait in `prepared`. Null: the handler looks at them.
  kxtool_option_handler words_check = nullptr;
  /// Of a row without usage: its own, which goes to standard error behind the general one.
  const char* usage_aside = nullptr;
};

struct kxtool_cmd_ctx {
  const kxtool_option* option = nullptr;
  const char* name = nullptr;         ///< the sub-command as it was typed
  const char* device_word = nullptr;  ///< null for a row without device
  uint32_t argc = 0;                  ///< words after the device word (after the name for a row without device)
  char** argv = nullptr;
  void* prepared = nullptr;  ///< from the row's words_check, for its handler
  bool card_shared = false;  ///< set by the row's words_check: these words need the card alone only by its address
  kxtool_device device;
};

/// The state of this process's command; null before start-up remembered it.
kxtool_cmd_ctx* kxtool_get_cmd_ctx();
/// Makes `ctx` the state of this process's command; before any thread starts.
void kxtool_cmd_ctx_set(kxtool_cmd_ctx* ctx);
