// SPDX-License-Identifier: GPL-2.0
// The management processor's side of a firmware update. The flash has two partitions; only the one that the package
// header was sent for can be erased and written, and a header for offset 0 means the one that does not run. Addresses
// of a package that was made for the other partition are moved. Writing clears bits: what was not erased is spoiled.

#include <linux/slab.h>
#include <linux/workqueue.h>
#include <linux/xarray.h>
#include <asm/unaligned.h>

#include "kx_card.h"

#define BLOCK 4096u
#define RUNNING 1
#define VERSION "TARN-FW-BOARDTYPE-1.0.0"

/* First byte of a request; erase, data and read-back add the image's number. */
enum { STATISTICS = 1, OLD_AUTHORISATION = 18, HEADER = 19, END = 22, AUTHORISATION = 28, ERASE = 0x20, DATA = 0x40,
       READ_BACK = 0x60 };
#define IMAGES_MAX 33

/* Notices: command and status. */
enum { READ_BACK_DONE = 2, ALL_WRITTEN = 3, HEADER_DONE = 4, WRITE_STATE = 23 };
enum { ERASED = 1, ERASE_FAILED = 2, HEADER_WRITTEN = 3, WRITE_FAILED = 4 };
#define NOTICE_OP 2
#define NOTICE_LENGTH 32

struct area {
	u64 start, end;
};
static const struct area partitions[] = { { 0x40000, 0x3300000 }, { 0x3300000, 0x65c0000 } };

static DEFINE_XARRAY(flash); /* blocks that are not erased */
static struct area opened; /* may be erased and written; empty without a header */
static struct area erased; /* may be written */
static u64 made_for; /* where the package's addresses begin */
static u32 counters[10]; /* erase, write and read errors first */

/* What the processor is at work on; one step at a time. */
static struct {
	u8 kind;
	u64 address, size;
	u32 sum;
} step;

static void step_run(struct work_struct *work);
static DECLARE_DELAYED_WORK(step_work, step_run);

static void notice_send(u8 command, u8 status, u32 partition, u32 sum_sent, u32 sum_read)
{
	u8 notice[NOTICE_LENGTH] = {};

	put_unaligned_le32(NOTICE_OP, notice);
	notice[12] = command;
	notice[13] = status;
	put_unaligned_le32(partition, notice + 16);
	put_unaligned_le32(sum_sent, notice + 24);
	put_unaligned_le32(sum_read, notice + 28);
	kx_notify(notice, sizeof(notice));
}

static void state_send(u8 command, u8 status)
{
	notice_send(command, status, 0, 0, 0);
}

static void flash_erase(u64 address, u64 length)
{
	u64 block;

	for (block = address / BLOCK; block < DIV_ROUND_UP(address + length, BLOCK); block++)
		kfree(xa_erase(&flash, block));
}

static void flash_write(u64 address, const u8 *data, size_t length)
{
	size_t i;

	for (i = 0; i < length; i++) {
		const u64 at = address + i;
		u8 *block = xa_load(&flash, at / BLOCK);

		if (!block) {
			block = kmalloc(BLOCK, GFP_KERNEL);
			if (!block)
				return;
			memset(block, 0xff, BLOCK);
			if (xa_is_err(xa_store(&flash, at / BLOCK, block, GFP_KERNEL))) {
				kfree(block);
				return;
			}
		}
		block[at % BLOCK] &= data[i];
	}
}

u32 kx_flash_sum(u64 address, u64 length)
{
	u32 sum = 0;

	for (; length > 0; address++, length--) {
		const u8 *block = xa_load(&flash, address / BLOCK);

		sum += block ? block[address % BLOCK] : 0xff;
	}
	return sum;
}

static void later(u32 ms, u8 kind, u64 address, u64 size, u32 sum)
{
	cancel_delayed_work_sync(&step_work);
	step.kind = kind;
	step.address = address;
	step.size = size;
	step.sum = sum;
	schedule_delayed_work(&step_work, msecs_to_jiffies(ms));
}

static void erase_finish(void)
{
	if (kx_settings.erase_fails > 0) {
		/* It tries again by itself. */
		kx_settings.erase_fails--;
		counters[0]++;
		state_send(WRITE_STATE, ERASE_FAILED);
		schedule_delayed_work(&step_work, msecs_to_jiffies(kx_settings.erase_ms));
		return;
	}
	flash_erase(step.address, step.size);
	erased = (struct area) { step.address, step.address + step.size };
	state_send(WRITE_STATE, ERASED);
}

static void step_run(struct work_struct *work)
{
	u32 sum;

	switch (step.kind) {
	case HEADER:
		state_send(HEADER_DONE, HEADER_WRITTEN);
		break;
	case ERASE:
		erase_finish();
		break;
	case READ_BACK:
		sum = kx_flash_sum(step.address, step.size);
		if (kx_settings.sum_wrong > 0) {
			kx_settings.sum_wrong--;
			sum = ~sum;
		}
		notice_send(READ_BACK_DONE, 0, 0, step.sum, sum);
		break;
	case END:
		opened = (struct area) {};
		state_send(ALL_WRITTEN, 0);
		break;
	}
}

static int refuse(u8 status, u32 *counter)
{
	++*counter;
	state_send(WRITE_STATE, status);
	return 0;
}

static int authorise(const u8 *request, size_t length, struct kx_reply *reply)
{
	if (length != 65)
		return KX_NOBODY_LISTENS;
	cancel_delayed_work_sync(&step_work);
	opened = (struct area) {};
	erased = (struct area) {};
	memset(reply->bytes, 0, 78);
	reply->length = 78;
	reply->bytes[1] = kx_settings.authorises != 0;
	memcpy(reply->bytes + 2, VERSION, strlen(VERSION));
	put_unaligned_le32(RUNNING, reply->bytes + 66);
	notice_send(request[0], 0, RUNNING, 0, 0);
	return 0;
}

static const struct area *target_of(u32 offset)
{
	u32 i;

	if (offset == 0)
		return &partitions[RUNNING == 1 ? 1 : 0];
	for (i = 0; i < ARRAY_SIZE(partitions); i++)
		if (partitions[i].start == offset)
			return &partitions[i];
	return NULL;
}

/* A package was made for the last partition that none of its images lies below. */
static u64 origin_of(const u8 *header, size_t length)
{
	u64 lowest = U64_MAX;
	u32 i, count = length >= 72 ? min(get_unaligned_le32(header + 68), (u32)IMAGES_MAX) : 0;

	for (i = 0; i < count && 72 + 12 * i + 4 <= length; i++)
		lowest = min_t(u64, lowest, get_unaligned_le32(header + 72 + 12 * i));
	return lowest >= partitions[1].start ? partitions[1].start : lowest >= partitions[0].start ? partitions[0].start : 0;
}

static int header_take(const u8 *request, size_t length)
{
	const struct area *target = length >= 8 ? target_of(get_unaligned_le32(request + 4)) : NULL;

	if (!target || !kx_settings.authorises || length - 8 != get_unaligned_le16(request + 2))
		return refuse(WRITE_FAILED, &counters[1]);
	opened = *target;
	erased = (struct area) {};
	made_for = origin_of(request + 8, length - 8);
	flash_erase(opened.start, length - 8);
	flash_write(opened.start, request + 8, length - 8);
	later(kx_settings.header_ms, HEADER, 0, 0, 0);
	return 0;
}

/* The flash address of a package address; false when the bytes do not lie in the opened partition. */
static bool place(u32 offset, u64 size, u64 *address)
{
	if (offset < made_for)
		return false;
	*address = opened.start + (offset - made_for);
	return *address <= opened.end && size <= opened.end - *address;
}

static int erase(const u8 *request)
{
	const u32 offset = get_unaligned_le32(request + 4);
	const u64 size = get_unaligned_le32(request + 8);
	char path[16];
	u64 address;

	snprintf(path, sizeof(path), "/dev/mtd%u", request[1]);
	if (offset % BLOCK != 0 || !place(offset, size, &address) || memcmp(request + 12, path, strlen(path) + 1) != 0)
		return refuse(ERASE_FAILED, &counters[0]);
	later(kx_settings.erase_ms, ERASE, address, round_up(size, 4), 0);
	return 0;
}

static int data_take(const u8 *request, size_t length)
{
	u64 address;

	if (length < 8 || length - 8 != get_unaligned_le16(request + 2) || (length - 8) % 4 != 0 ||
	    !place(get_unaligned_le32(request + 4), length - 8, &address) || address < erased.start ||
	    address + length - 8 > erased.end)
		return refuse(WRITE_FAILED, &counters[1]);
	flash_write(address, request + 8, length - 8);
	return 0;
}

static int read_back(const u8 *request)
{
	const u32 size = get_unaligned_le32(request + 5);
	u64 address;

	if (!place(get_unaligned_le32(request + 1), size, &address))
		return refuse(WRITE_FAILED, &counters[2]);
	later(kx_settings.read_back_ms, READ_BACK, address, size, get_unaligned_le32(request + 9));
	return 0;
}

static int end(const u8 *request)
{
	if (opened.end == 0)
		return refuse(WRITE_FAILED, &counters[1]);
	kx_log("update_end file_size=%u", get_unaligned_le32(request + 1));
	later(kx_settings.end_ms, END, 0, 0, 0);
	return 0;
}

static int statistics_tell(struct kx_reply *reply)
{
	u32 i;

	reply->length = sizeof(counters);
	for (i = 0; i < ARRAY_SIZE(counters); i++)
		put_unaligned_le32(counters[i], reply->bytes + 4 * i);
	return 0;
}

static bool is_of(u8 kind, u8 first)
{
	return kind >= first && kind - first < IMAGES_MAX;
}

/* The last image's erase and the first one's data begin alike: their lengths tell them apart. */
int kx_update_handle(const u8 *request, size_t length, struct kx_reply *reply)
{
	const u8 kind = length > 0 ? request[0] : 0;

	if (kind == AUTHORISATION || kind == OLD_AUTHORISATION)
		return authorise(request, length, reply);
	if (kind == STATISTICS)
		return statistics_tell(reply);
	reply->length = 1;
	reply->bytes[0] = 0;
	if (kind == HEADER)
		return header_take(request, length);
	if (kind == END && length == 5)
		return end(request);
	if (is_of(kind, ERASE) && length == 208 && get_unaligned_le16(request + 2) == 0)
		return erase(request);
	if (is_of(kind, READ_BACK) && length == 13)
		return read_back(request);
	if (is_of(kind, DATA))
		return data_take(request, length);
	return KX_NOBODY_LISTENS;
}

void kx_update_stop(void)
{
	unsigned long index;
	u8 *block;

	cancel_delayed_work_sync(&step_work);
	xa_for_each(&flash, index, block)
		kfree(block);
	xa_destroy(&flash);
}
