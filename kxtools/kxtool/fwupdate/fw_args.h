// The words of the sub-command.
#pragma once

#include "fw_state.h"
#include "startup/cmd_ctx.h"

/// Reads the one word behind the device: a query, or the path of a package, which is opened and must fit the card's
/// board type. Sets command word and first state. Returns 0; -1 with a message when the update cannot begin; or the
/// positive exit status of a package that is not for this card, with a message.
int kxtool_fw_args_parse(const kxtool_cmd_ctx& ctx, fw_update* update);

/// Compares the board types of package and card. Returns 0, or the exit status with a message: 2 without a readable
/// header, 3 without one of the board types, 4 when they do not match.
int fw_upd_boardtype_verify(kxtool_device* device, const fw_package& package);
