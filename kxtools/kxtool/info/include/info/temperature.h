// The chip's temperature.
#pragma once

#include <cstdint>

#include "channel/device.h"

/// Degrees Celsius; from here on a reading is taken for a bad one.
inline constexpr int32_t KXTOOL_TEMPERATURE_LIMIT = 151;

struct kxtool_temperature {
  int32_t status;   ///< of the reply; 0: the card gives a reading
  int32_t celsius;  ///< may be a bad reading
};

/// Asks the card for one reading, without a line. Returns 0 with a reply, or the result of tarn_tools_send_msg.
int32_t kxtool_temperature_ask(kxtool_device* device, kxtool_temperature* answer);
