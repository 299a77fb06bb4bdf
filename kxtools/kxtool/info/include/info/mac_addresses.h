// The card's MAC addresses.
#pragma once

#include <cstdint>

#include "channel/device.h"

inline constexpr uint16_t KXTOOL_MAC_ADDRESSES_MAX = 10;  ///< what a reply can hold

struct kxtool_mac_addresses {
  uint32_t status;  ///< of the reply; 0: the card tells its addresses
  uint16_t count;   ///< as the card says it: more than KXTOOL_MAC_ADDRESSES_MAX is wrong
  uint8_t addresses[KXTOOL_MAC_ADDRESSES_MAX][6];
};

/// Asks the card for them, without a line. Returns 0 with a reply, or the result of tarn_tools_send_msg.
int32_t kxtool_mac_addresses_ask(kxtool_device* device, kxtool_mac_addresses* answer);
