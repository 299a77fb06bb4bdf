// One look at the notice slot.
#pragma once

#include "channel/mailbox.h"
#include "mailbox_slot.h"

/// What is remembered between two looks.
struct bar_rx_state {
  bar_msg_header refused = {};  ///< header that stays in the slot because it failed the check; reported once
};

/// Checks a received header. Returns 0 or the code with which a look ends; prints unless `silent`.
int32_t bar_chan_recv_header_check(const bar_msg_header& header, bool silent);

/// The slot into which the acknowledgement of a message from `src` to `dst` goes.
kx_mmio_region bar_reply_slot(const kx_mmio_region& area, uint16_t src, uint16_t dst, uint8_t received_flags);

/// Looks at the slot of messages from `src` to `dst`: hands a waiting message to its callback and acknowledges it.
/// Returns 0, or a code when there was nothing or the message was left in place.
int32_t bar_chan_rx_poll(const kx_mmio_region& area, uint16_t src, uint16_t dst, bar_rx_state* state);
