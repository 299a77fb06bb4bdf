// Firmware update: the sub-command "-f|-fw|fwupdate".
#pragma once

#include <cstdint>

#include "startup/cmd_ctx.h"

/// Reads the command's words and opens the package that they name, for kxtool_fw_main in the same process. Returns 0,
/// or the exit status with lines on standard error: 1 for wrong words, 2 for a package that cannot be read or is not
/// the one whose SHA-256 the words give.
int kxtool_fw_words_check(kxtool_cmd_ctx* ctx);

/// Writes the version package named by the command's words into the card's flash, says what that would do, or answers
/// one of the queries "version", "part" and "flash_cnt". REQUIRES: kxtool_fw_words_check returned 0 for `ctx`. Never
/// returns: the process ends with 0 when finished, 2 when the package has no readable header, 3 without a board type of
/// package or card, 4 when they do not match, 5 when the card refuses, 6 without the permission that a PCI address
/// needs, 7 when the update failed, 130 when it was interrupted.
[[noreturn]] int kxtool_fw_main(kxtool_cmd_ctx* ctx);
extern const char kxtool_fw_usage[];

/// Takes a notice of the update: byte 12 of the payload is its command, byte 13 its status. Runs on the channel's
/// receive thread; any length and content is possible.
void mts_fwupdate_recv_cb(const uint8_t* payload, uint32_t length);
