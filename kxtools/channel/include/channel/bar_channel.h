// The mailbox channel as the commands use it: bring-up for a device given by PCI address, and the senders.
#pragma once

#include <cstdint>

#include "channel/device.h"

/// Maps BAR 0 of the device, clears the mailbox area, starts the receive thread and makes the first exchange with the
/// card's processor. Returns 0, or non-zero with a message; an exchange that fails ends the process.
int32_t kxtool_bc_init(kxtool_device* device);

/// Sends `length` bytes (at most 2036) as `event_id` and waits up to 10 s for the reply, of which at most `*reply_len`
/// bytes fit into `reply`; the reply's length is not reported. Returns 0; a failed exchange prints its line and ends
/// the process with the channel's code.
int32_t kxtool_barch_send_sync(kxtool_device* device, uint32_t event_id, const void* payload, uint16_t length,
                               void* reply, const uint16_t* reply_len);
/// The same as event 10, the boot-loader's.
int32_t bl1_bc_send_sync(kxtool_device* device, const void* payload, uint16_t length, void* reply,
                         const uint16_t* reply_len);
int32_t bl1_bc_send_no_reply(kxtool_device* device, const void* payload, uint16_t length);

/// Unmaps the card's BAR, which ends the receive thread at its next look; no exchange is possible afterwards. Not to be
/// called from a notice's callback. Returns 0.
int32_t tarn_bc_exit(kxtool_device* device);

/// Pause between two looks at the notice slot, in microseconds; 5000 when the receive thread starts. May be set from
/// another thread than the receive thread's.
uint32_t tarn_rx_poll_tick_get();
void tarn_rx_poll_tick_set(uint32_t microseconds);
