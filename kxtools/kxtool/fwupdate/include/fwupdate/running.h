// What runs on the card.
#pragma once

#include <array>
#include <cstdint>

#include "channel/device.h"
#include "fwupdate/package.h"

/// What runs on the card now, as it tells when it is asked for its permission to update.
struct fw_running {
  uint8_t allows_update = 0;
  std::array<char, FW_IDENTIFICATION_SIZE + 1> version = {};  ///< printable
  uint32_t partition = 0;
};

/// Asks the card, which begins no update by that. A failure leaves lines in the update's log, which is standard error
/// while none is open. Returns 0 or -1.
int32_t kxtool_fw_running_ask(kxtool_device* device, fw_running* running);
