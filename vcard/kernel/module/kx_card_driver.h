/* SPDX-License-Identifier: GPL-2.0 */
/* What the card's driver uses of the card. */
#pragma once

#include <linux/pci_ids.h>
#include <linux/types.h>

#define KX_VENDOR 0x1cf2
#define KX_DEVICE 0x8037
#define KX_VF_DEVICE 0x8040

/*
 * Asks the management processor. The reply holds at most *reply_length bytes; how many it has is stored there. Gives the
 * channel result: 0, or 6 when the card does not answer in time, 12 when the reply is longer than the buffer. Sleeps.
 */
int kx_card_request(u16 event, const void *request, size_t length, void *reply, u16 *reply_length);

/*
 * Who gets the card's notices from now on; the last one to attach has them. deliver() gives 0, or an error: the notice
 * is kept for later then.
 */
typedef int (*kx_deliver)(void *context, const void *payload, size_t length);
void kx_card_attach(kx_deliver deliver, void *context);
void kx_card_detach(void *context);

__printf(1, 2) void kx_card_log(const char *format, ...);
