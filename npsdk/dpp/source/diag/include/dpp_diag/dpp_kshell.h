// The shell of the network processor that runs in the kernel, and the channel to it. This build has no protocol for
// that channel: nothing is ever sent.
#pragma once

#include <cstdint>

inline constexpr uint32_t DPP_RC_NETLINK_NONE = 0x60B;  ///< no channel to the kernel

/// Opens the channel. Says that there is none and returns DPP_RC_NETLINK_NONE.
uint32_t dpp_netlink_init();
