// One synchronous exchange without the hard stop.
#pragma once

#include "channel/mailbox.h"

/// Checks the descriptors, in the channel's order. Returns 0 or a code with a message.
int32_t bar_chan_send_para_check(const bar_msg_send_para* send, const bar_msg_recv_para* recv);

/// Sends and waits for the reply. Returns 0 or a code with a message.
int32_t bar_chan_sync_exchange(const bar_msg_send_para* send, const bar_msg_recv_para* recv);
