// The channel through the kernel driver: a private ioctl on the card's network interface for requests, a generic
// netlink family for notices.
#pragma once

#include <cstdint>

#include "channel/device.h"

/// Fills the request block with the device's interface name, opens the ioctl and netlink sockets and checks that the
/// driver's interface fits this tool. `no_device` says that the command takes no device: nothing is opened then and the
/// result is 1. Returns 0, or non-zero with a message.
int32_t tarn_tools_socket_init(kxtool_device* device, bool no_device);

/// Compares the driver's compatibility record with the tool's. Returns 0; -1 without memory or for a failed ioctl, -2
/// without a device, -3 for a driver that does not fit; each with a message.
int32_t kxtool_drv_version_check(kxtool_device* device);

/// Registers this process for the card's notices and makes the first exchange with the card's processor. Returns 0, or
/// non-zero with a message.
int32_t tarn_tools_event_info_register(kxtool_device* device);

/// Ends the notice receiver, if one runs, and closes both sockets: the driver's registration ends with them. Harmless
/// without a channel.
void tarn_tools_driver_close(kxtool_device* device);

/// Body of the notice receiver, for a thread of its own: binds the netlink socket, resolves the family, sets the ready
/// flag and hands notices on until a malformed or foreign message ends it.
void tarn_tools_netlink_recv_msg(kxtool_device* device);

/// Starts that thread and waits until it is ready. Returns 0, or -1 with a message.
int32_t tarn_tools_netlink_start(kxtool_device* device);
