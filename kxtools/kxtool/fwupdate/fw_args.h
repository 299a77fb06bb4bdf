// The words of the sub-command, and the package that they name.
#pragma once

#include "fw_state.h"
#include "startup/cmd_ctx.h"

/// What the words ask for.
struct fw_request {
  const char* query = nullptr;  ///< a query's word; null for an update
  const char* path = nullptr;   ///< of the package
  bool dry_run = false;
  fw_package package;
  fw_sha256 sha256 = {};  ///< of the whole file, when it was looked at
};

/// Reads the words and opens the package that they name; touches no device. Returns 0, or the exit status with lines
/// on standard error: 1 for wrong words, with the usage; 2 for a package that cannot be read or is not the one whose
/// SHA-256 was given.
int fw_request_read(const kxtool_cmd_ctx& ctx, fw_request* request);

/// Sets command word and first state from a request, whose package goes over to the update. Returns 0, or the exit
/// status of a package that is not for this card, with a message.
int kxtool_fw_args_parse(fw_request* request, fw_update* update);

/// Compares the board types of package and card, of which the card's goes into the update. Returns 0, or the exit
/// status with a message: 2 without a readable header, 3 without one of the board types, 4 when they do not match.
int fw_upd_boardtype_verify(fw_update* update);
