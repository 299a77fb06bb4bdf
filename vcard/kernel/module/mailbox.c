// SPDX-License-Identifier: GPL-2.0
// The mailbox in BAR 0 of the physical functions: requests in the first slot, notices in the second.

#include <linux/delay.h>
#include <linux/io.h>
#include <linux/jiffies.h>
#include <linux/kthread.h>
#include <asm/unaligned.h>

#include "kx_card.h"

#define NOTICE_SLOT 0x800
#define HEADER 12
#define OS_TYPE_OP 0

#define VALID 0x01
#define ACK 0x08
#define POLL_TAG 0x10

static struct task_struct *thread;
static struct kx_reply reply;
static u8 payload[KX_PAYLOAD_MAX + 3];
static struct {
	u8 header[HEADER];
	bool set;
} unanswered; /* a request that got no answer is left in its slot and not looked at again */

static u8 __iomem *area_of(const struct kx_function *f)
{
	const u8 layout = readb(f->bar + 0x1001);

	return f->bar + (layout == 0 || layout == 1 || layout == 7 ? 0xf0f000 : 0xff000);
}

static void slot_read(const u8 __iomem *slot, u8 *bytes, size_t length)
{
	size_t at;

	for (at = 0; at < length; at += 4)
		put_unaligned_le32(readl(slot + at), bytes + at);
}

static void slot_write(u8 __iomem *slot, const u8 *bytes, size_t length)
{
	size_t at;
	u8 last[4] = {};

	for (at = 0; at + 4 <= length; at += 4)
		writel(get_unaligned_le32(bytes + at), slot + at);
	if (at == length)
		return;
	memcpy(last, bytes + at, length - at);
	writel(get_unaligned_le32(last), slot + at);
}

/* The word with the valid bit comes last: it hands the slot over. */
static void header_write(u8 __iomem *slot, const u8 header[HEADER])
{
	slot_write(slot + 4, header + 4, HEADER - 4);
	wmb();
	slot_write(slot, header, 4);
}

static int notice_put(void *context, const void *bytes, size_t length)
{
	u8 __iomem *slot = area_of(context) + NOTICE_SLOT;
	u8 header[HEADER] = { VALID | POLL_TAG };

	if (readb(slot) & VALID)
		return -EBUSY;
	put_unaligned_le16(KX_EVENT_GENERAL, header + 2);
	put_unaligned_le16(length, header + 4);
	slot_write(slot + HEADER, bytes, length);
	header_write(slot, header);
	return 0;
}

static bool is_new(const u8 __iomem *slot, u8 header[HEADER])
{
	u8 again[HEADER];

	slot_read(slot, header, HEADER);
	if (!(header[0] & VALID)) {
		unanswered.set = false;
		return false;
	}
	/* The valid bit goes first and comes last, so a header that reads the same twice is whole. */
	slot_read(slot, again, HEADER);
	return memcmp(header, again, HEADER) == 0 &&
	       !(unanswered.set && memcmp(header, unanswered.header, HEADER) == 0);
}

static bool request_serve(struct kx_function *f)
{
	u8 __iomem *slot = area_of(f);
	u8 header[HEADER], now[HEADER];
	u16 event, length;
	int result;

	if (!is_new(slot, header))
		return false;
	event = get_unaligned_le16(header + 2);
	length = min_t(u16, get_unaligned_le16(header + 4), KX_PAYLOAD_MAX);
	slot_read(slot + HEADER, payload, length);
	kx_log("mailbox event=%u length=%u op=%u", event, length, get_unaligned_le32(payload));
	if (event == KX_EVENT_GENERAL && get_unaligned_le32(payload) == OS_TYPE_OP)
		kx_card_attach(notice_put, f);
	result = kx_processor_handle(event, payload, length, &reply);
	if (result != 0) {
		kx_log("mailbox_silent result=%d", result);
		memcpy(unanswered.header, header, HEADER);
		unanswered.set = true;
		return true;
	}
	/* Who asked may have gone, and the next one's request may lie there by now. */
	slot_read(slot, now, HEADER);
	if (memcmp(header, now, HEADER) != 0) {
		kx_log("mailbox_withdrawn");
		return true;
	}
	slot_write(slot + HEADER, reply.bytes, reply.length);
	put_unaligned_le16(reply.length, header + 4);
	header[0] = (header[0] | ACK) & ~VALID;
	header_write(slot, header);
	return true;
}

static int mailbox_run(void *unused)
{
	unsigned long busy_until = jiffies;

	while (!kthread_should_stop()) {
		struct kx_function *f;

		if (!READ_ONCE(kx_settings.dead)) {
			list_for_each_entry(f, &kx_functions, node) {
				if (f->kind == KX_PHYSICAL && request_serve(f))
					busy_until = jiffies + HZ / 2;
			}
			kx_notices_deliver();
		}
		if (time_before(jiffies, busy_until))
			usleep_range(100, 200);
		else
			usleep_range(2000, 3000);
	}
	return 0;
}

int kx_mailbox_start(void)
{
	thread = kthread_run(mailbox_run, NULL, "kx_card");
	if (!IS_ERR(thread))
		return 0;
	return PTR_ERR(thread);
}

void kx_mailbox_stop(void)
{
	kthread_stop(thread);
}
