// The card's part number.
#pragma once

#include <cstdint>

#include "channel/device.h"

struct kxtool_part_number {
  char text[16];  ///< terminated; empty when the card has none
};

/// The card's firmware does not know the query.
inline constexpr int32_t KXTOOL_PN_NOT_SUPPORTED = 2;

/// Asks the card for its part number. Returns 0, KXTOOL_PN_NOT_SUPPORTED without a message, or -1 with one.
int32_t kxtool_pn_get(kxtool_device* device, kxtool_part_number* pn);
