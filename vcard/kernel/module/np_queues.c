// SPDX-License-Identifier: GPL-2.0
// The network processor's queue engine: a doorbell names an item in host memory by its bus address; its commands are
// run on the tables, and the item's first word says how that went.

#include <linux/mm.h>
#include <asm/unaligned.h>

#include "kx_card.h"

#define DOORBELLS 0x2000000u
#define LENGTH 0x3ffu
#define INTERRUPT (1u << 29)
#define DUMP (1u << 30)

#define ITEM_BUFFER 16
#define ITEM_MAX 16384
#define DONE 0x5a5a5a00

enum { SUCCESS = 0xff, NOT_VALID = 1, UNKNOWN, TRUNCATED, UNSUPPORTED, EMPTY, BUS };

struct block {
	const u8 *bytes;
	u32 length;
};

/* Bits are numbered from 127, the first on the wire. */
static u32 bits(const u32 command[4], u32 msb, u32 length)
{
	u32 value = 0;
	u32 i;

	for (i = 0; i < length; i++) {
		const u32 at = 127 - msb + i;

		value = value << 1 | (command[at / 32] >> (31 - at % 32) & 1);
	}
	return value;
}

static bool take(struct block *block, u32 *words, u32 count)
{
	u32 i;

	if (block->length < 4 * count)
		return false;
	for (i = 0; i < count; i++)
		words[i] = get_unaligned_be32(block->bytes + 4 * i);
	block->bytes += 4 * count;
	block->length -= 4 * count;
	return true;
}

static u64 ddr_place(const u32 command[4])
{
	return KX_DDR + (bits(command, 119, 20) * 256ull + bits(command, 29, 30)) * 16;
}

static u64 zcam_place(const u32 command[4])
{
	const u64 memory = bits(command, 123, 1) ? KX_ZCAM : KX_ZREG;

	return memory + ((u64)bits(command, 122, 7) << 9 | bits(command, 111, 9)) * 64;
}

static u64 etcam_row(const u32 command[4])
{
	return KX_ETCAM + ((u64)bits(command, 123, 3) << 9 | bits(command, 98, 9)) * 256;
}

static u8 eram_write(const u32 command[4], struct block *rest)
{
	static const u32 widths[] = { 128, 64, 1 };
	const u32 mode = bits(command, 123, 2);
	u32 data[4] = { bits(command, 63, 32), bits(command, 31, 32) };

	if (!bits(command, 121, 1) || bits(command, 120, 1) || mode >= ARRAY_SIZE(widths))
		return UNSUPPORTED;
	if (mode == 0 && !take(rest, data, 4))
		return TRUNCATED;
	if (mode == 2)
		data[0] = bits(command, 0, 1);
	kx_eram_write(widths[mode], bits(command, 113, 26), data);
	return SUCCESS;
}

static u8 ddr_write(const u32 command[4], struct block *rest)
{
	const u32 words = 4 << bits(command, 123, 2);
	u32 data[16], i;

	if (words > 16)
		return UNSUPPORTED;
	if (!take(rest, data, words))
		return TRUNCATED;
	for (i = 0; i < words; i++)
		kx_word_set(ddr_place(command) + 4 * i, data[i]);
	return SUCCESS;
}

static u8 zcam_write(const u32 command[4], struct block *rest)
{
	u32 data[16], i;

	if (!take(rest, data, 16))
		return TRUNCATED;
	for (i = 0; i < 16; i++)
		if (bits(command, 115, 4) & 8 >> i / 4)
			kx_word_set(zcam_place(command) + 4 * i, data[i]);
	return SUCCESS;
}

static u8 etcam_write(const u32 command[4], struct block *rest)
{
	const u64 bytes = etcam_row(command) + (bits(command, 99, 1) ? 80 : 0);
	u32 data[20], i;

	if (bits(command, 108, 1))
		return UNSUPPORTED;
	if (!take(rest, data, 20))
		return TRUNCATED;
	for (i = 0; i < 80; i++) {
		const u64 at = bytes + i / 4 * 4;
		const u32 mask = 0xffu << (24 - 8 * (i % 4));

		if (bits(command, 107, 8) & 0x80 >> i / 10)
			kx_word_set(at, (kx_word(at) & ~mask) | (data[i / 4] & mask));
	}
	if (bits(command, 118, 1))
		kx_word_set(etcam_row(command) + 160, bits(command, 89, 8));
	return SUCCESS;
}

static u8 write_one(const u32 command[4], struct block *rest)
{
	switch (bits(command, 126, 3)) {
	case 0:
		return eram_write(command, rest);
	case 1:
		return ddr_write(command, rest);
	case 2:
		return zcam_write(command, rest);
	case 3:
		return etcam_write(command, rest);
	default:
		return UNKNOWN;
	}
}

static bool answer_words(u8 *answer, u32 *length, u64 from, u32 words)
{
	u32 i;

	if (*length + 4 * words > ITEM_MAX)
		return false;
	for (i = 0; i < words; i++, *length += 4)
		put_unaligned_be32(kx_word(from + 4 * i), answer + *length);
	return true;
}

/* What is read takes the place of the commands; no answer reaches a command that was not read yet. */
static u8 dump_one(const u32 command[4], u8 *answer, u32 *length)
{
	bool fits;

	switch (bits(command, 126, 3)) {
	case 0:
		fits = answer_words(answer, length, KX_ERAM + bits(command, 113, 26) * 16ull, 4);
		break;
	case 1:
		if (bits(command, 123, 2) > 2)
			return UNSUPPORTED;
		fits = answer_words(answer, length, ddr_place(command), 4 << bits(command, 123, 2));
		break;
	case 2:
		fits = answer_words(answer, length, zcam_place(command), 16);
		break;
	case 3:
		fits = answer_words(answer, length, etcam_row(command) + (bits(command, 99, 1) ? 80 : 0), 20) &&
		       answer_words(answer, length, KX_OTHER, 3) &&
		       answer_words(answer, length, etcam_row(command) + 160, 1);
		break;
	default:
		return UNKNOWN;
	}
	return fits ? SUCCESS : UNSUPPORTED;
}

static u8 commands[4 * (LENGTH + 1)]; /* under kx_memory_lock */

static u8 item_run(u8 *item, u32 words, bool dump)
{
	struct block rest = { commands, 4 * words };
	u32 answered = 0;
	u32 command[4];
	u8 status = words ? SUCCESS : EMPTY;

	memcpy(commands, item + ITEM_BUFFER, 4 * words);
	while (rest.length && status == SUCCESS) {
		if (!take(&rest, command, 4))
			status = TRUNCATED;
		else if (!bits(command, 127, 1))
			status = NOT_VALID;
		else
			status = dump ? dump_one(command, item + ITEM_BUFFER, &answered) : write_one(command, &rest);
	}
	return status;
}

void kx_doorbell(u32 queue)
{
	const u64 at = KX_NP + DOORBELLS + queue * 0x20;
	const u64 bus = ((u64)kx_word(at) << 32 | kx_word(at + 4)) << 4;
	const u32 length = kx_word(at + 8);
	const u32 words = length & LENGTH;
	const u32 span = ITEM_BUFFER + (length & DUMP ? ITEM_MAX : 4 * words);
	u8 status = BUS;
	u8 *item;

	/* Memory of the host that the card must not touch is no answer's place. */
	if (bus != 0 && pfn_valid(PHYS_PFN(bus)) && pfn_valid(PHYS_PFN(bus + span - 1)) &&
	    PageHuge(pfn_to_page(PHYS_PFN(bus))) && PageHuge(pfn_to_page(PHYS_PFN(bus + span - 1)))) {
		item = __va(bus);
		status = item_run(item, words, length & DUMP);
		if (!kx_settings.queue_silent)
			put_unaligned_le32(DONE | status, item);
	}
	kx_word_set(KX_NP + 0x502240 + 4 * queue, status);
	kx_log("table_block queue=%u bytes=%u dump=%u status=0x%02x", queue, 4 * words, length & DUMP ? 1 : 0, status);
	if (length & INTERRUPT)
		kx_word_set(KX_NP + 0x503040 + queue / 32 * 4,
			    kx_word(KX_NP + 0x503040 + queue / 32 * 4) | 1u << queue % 32);
}
