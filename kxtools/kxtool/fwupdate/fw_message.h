// Sending the update's requests (event 27) on the channel of the device.
#pragma once

#include <cstdint>
#include <span>

#include "fw_state.h"

/// By the kernel driver for an interface name, by the mailbox for a PCI address; for neither nothing is sent and 0 is
/// returned. The driver tells the reply's length, the mailbox does not. Returns 0 or -1; a failure is logged. In the
/// mailbox a failed exchange ends the process.
int32_t kxtool_fw_msg_send_sync(kxtool_device* device, const void* payload, uint16_t length, void* reply,
                                uint16_t* reply_len);

/// Sends with the update's sender, an interrupt held back meanwhile. The reply is zeroed first; one that is known to be
/// shorter than `reply_min` fails. Returns 0 or -1.
int32_t fw_request_send(fw_update* update, std::span<const uint8_t> request, std::span<uint8_t> reply,
                        uint16_t reply_min);
/// The same for a request whose reply says nothing.
int32_t kxtool_fw_msg_send_sync_no_reply(fw_update* update, std::span<const uint8_t> request);
