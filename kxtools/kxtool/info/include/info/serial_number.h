// The card's serial number.
#pragma once

#include <cstdint>

#include "channel/device.h"

struct kxtool_serial_number {
  int8_t status;  ///< of the reply; 0: the card has one
  char text[13];  ///< terminated; what does not print is '?'
};

/// Asks the card for it. Returns 0 with a reply, or the result of tarn_tools_send_msg.
int32_t kxtool_serial_number_ask(kxtool_device* device, kxtool_serial_number* serial);
