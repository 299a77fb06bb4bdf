// SPDX-License-Identifier: GPL-2.0
// The management processor: requests that come through the mailbox or the driver, and the notices that it sends.

#include <linux/delay.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/slab.h>
#include <asm/unaligned.h>

#include "kx_card.h"

#define TIME_OUT 6
#define REPLY_TOO_LONG 12
#define NOTICES_MAX 256

enum { OS_TYPE = 0, MAC_ADDRESSES = 9, SERIAL_NUMBER = 15, TEMPERATURE = 18, PART_NUMBER = 21 };

static DEFINE_MUTEX(processor);
static DEFINE_MUTEX(listening);
static struct {
	kx_deliver deliver;
	void *context;
} listener;

struct notice {
	struct list_head node;
	size_t length;
	u8 bytes[];
};
static LIST_HEAD(notices);
static unsigned int notice_count;

static const u8 macs[][6] = {
	{ 0x02, 0x1c, 0xf2, 0, 0, 1 },
	{ 0x02, 0x1c, 0xf2, 0, 0, 2 },
	{ 0x02, 0x1c, 0xf2, 0, 0, 3 },
};

static void reply_size(struct kx_reply *reply, size_t length)
{
	memset(reply->bytes, 0, length);
	reply->length = length;
}

static void text_put(struct kx_reply *reply, size_t at, const char *text)
{
	memcpy(reply->bytes + at, text, strlen(text));
}

static int general_handle(const u8 *request, size_t length, struct kx_reply *reply)
{
	if (length < 4)
		return KX_NOBODY_LISTENS;
	switch (get_unaligned_le32(request)) {
	case OS_TYPE:
		/* Status and type 0; the check word comes back. */
		reply_size(reply, 8);
		if (length >= 8)
			memcpy(reply->bytes + 4, request + 4, 4);
		return 0;
	case MAC_ADDRESSES:
		reply_size(reply, 68);
		put_unaligned_le16(ARRAY_SIZE(macs), reply->bytes + 4);
		memcpy(reply->bytes + 6, macs, sizeof(macs));
		return 0;
	case SERIAL_NUMBER:
		reply_size(reply, 29);
		text_put(reply, 1, "KX2601A00042");
		return 0;
	case TEMPERATURE:
		reply_size(reply, 24);
		put_unaligned_le32(kx_settings.temperature, reply->bytes + 4);
		return 0;
	case PART_NUMBER:
		reply_size(reply, 33);
		reply->bytes[1] = 1;
		text_put(reply, 2, "XXX BOARDTYPE");
		return 0;
	default:
		return KX_NOBODY_LISTENS;
	}
}

static int bar_offset_handle(const u8 *request, size_t length, struct kx_reply *reply)
{
	u16 token = 0;
	size_t i;

	for (i = 0; i < min_t(size_t, length, 4); i++)
		token += request[i];
	reply_size(reply, 16);
	put_unaligned_le16(token, reply->bytes + 4);
	put_unaligned_le32(0xf0f000, reply->bytes + 8);
	put_unaligned_le32(0x1000, reply->bytes + 12);
	return 0;
}

int kx_processor_handle(u16 event, const u8 *request, size_t length, struct kx_reply *reply)
{
	int result = KX_NOBODY_LISTENS;

	if (kx_settings.silent_event == event || kx_settings.dead)
		return KX_SILENT;
	mutex_lock(&processor);
	if (event == KX_EVENT_GENERAL)
		result = general_handle(request, length, reply);
	else if (event == KX_EVENT_UPDATE)
		result = kx_update_handle(request, length, reply);
	else if (event == KX_EVENT_BAR_OFFSET)
		result = bar_offset_handle(request, length, reply);
	mutex_unlock(&processor);
	return result;
}

int kx_card_request(u16 event, const void *request, size_t length, void *bytes, u16 *reply_length)
{
	struct kx_reply *reply = kmalloc(sizeof(*reply), GFP_KERNEL);
	int result;

	if (!reply)
		return -ENOMEM;
	result = kx_processor_handle(event, request, length, reply);
	if (result == KX_SILENT) {
		msleep(kx_settings.driver_wait_ms);
		result = TIME_OUT;
	} else if (result == 0 && reply->length > *reply_length) {
		result = REPLY_TOO_LONG;
	} else if (result == 0) {
		memcpy(bytes, reply->bytes, reply->length);
		*reply_length = reply->length;
	}
	kfree(reply);
	return result;
}
EXPORT_SYMBOL_GPL(kx_card_request);

static void notices_drop(void)
{
	struct notice *notice, *next;

	list_for_each_entry_safe(notice, next, &notices, node) {
		list_del(&notice->node);
		kfree(notice);
	}
	notice_count = 0;
}

/* What was meant for an earlier one is not for its successor. */
void kx_card_attach(kx_deliver deliver, void *context)
{
	mutex_lock(&listening);
	notices_drop();
	listener.deliver = deliver;
	listener.context = context;
	mutex_unlock(&listening);
}
EXPORT_SYMBOL_GPL(kx_card_attach);

void kx_card_detach(void *context)
{
	mutex_lock(&listening);
	if (listener.context == context)
		listener.deliver = NULL;
	mutex_unlock(&listening);
}
EXPORT_SYMBOL_GPL(kx_card_detach);

void kx_notify(const void *payload, size_t length)
{
	struct notice *notice = kmalloc(sizeof(*notice) + length, GFP_KERNEL);

	if (!notice)
		return;
	notice->length = length;
	memcpy(notice->bytes, payload, length);
	mutex_lock(&listening);
	if (notice_count < NOTICES_MAX) {
		list_add_tail(&notice->node, &notices);
		notice_count++;
	} else {
		kfree(notice);
	}
	mutex_unlock(&listening);
}

/* Called often: what could not be delivered is tried again. */
void kx_notices_deliver(void)
{
	struct notice *notice;

	mutex_lock(&listening);
	while (listener.deliver && (notice = list_first_entry_or_null(&notices, struct notice, node))) {
		if (listener.deliver(listener.context, notice->bytes, notice->length))
			break;
		kx_log_bytes("notice", notice->bytes, notice->length);
		list_del(&notice->node);
		kfree(notice);
		notice_count--;
	}
	mutex_unlock(&listening);
}

void kx_processor_free(void)
{
	mutex_lock(&listening);
	notices_drop();
	mutex_unlock(&listening);
}
