// SPDX-License-Identifier: GPL-2.0
// The network processor's windows: a command register behind which a memory lies, a status register whose bit 0 says
// that the command has finished, and data words.

#include "kx_card.h"

#define READS (1u << 31)
#define CLEARS (1u << 30)
#define WIDE (1u << 29)

#define ERAM_LINES 0x80000
#define DDR_LINES (1u << 28)

#define MICRO_CODE_ENTRY 0x010c90
#define DUMP_COMMAND_FORM 0x502008

/* What reads other than 0 after reset, as far as a host looks at it. */
static const struct {
	u32 offset, count, step, value;
} resets[] = {
	{ 0x000004, 1, 0x4, 0x00000fff },
	{ 0x0000c4, 1, 0x4, 0x00000001 }, /* features */
	{ 0x002000, 1, 0x4, 0x01000000 }, /* version and date */
	{ 0x002004, 1, 0x4, 0x20240101 },
	{ MICRO_CODE_ENTRY, 1, 0x4, 0x01020003 },
	{ MICRO_CODE_ENTRY + 4, 1, 0x4, 0x1a0b180a },
	{ 0x200000, 1, 0x4, 0x00040000 }, /* statistics: base and depth in eRAM, base in DDR */
	{ 0x200004, 1, 0x4, 0x00020000 },
	{ 0x20000c, 1, 0x4, 0x80000000 },
	{ 0x400400, 31, 0x1000, 0x80000000 }, /* links are up */
	{ DUMP_COMMAND_FORM, 1, 0x4, 0x4b584431 },
	{ 0x502040, 128, 0x4, 0x00000020 }, /* room in the queues */
	{ 0x502240, 128, 0x4, 0x000000ff },
};

/* Windows onto memories of their own: the words of an entry lie one after another. */
static const struct window {
	u32 command, count, stride;
	u32 data, status; /* in the same block */
	u32 words, place;
} windows[] = {
	{ 0x240050, 1, 0, 0x240080, 0x242000, 8, 0x3700ffff }, /* policers */
	{ 0x100284, 1, 0, 0x100288, 0x102000, 1, 0x000fffff }, /* traffic manager */
	{ 0x08c000, 6, 0x8000, 0x08c010, 0x08c004, 4, 0x770fffff }, /* packet-processing clusters */
};

static u32 reg(u32 offset)
{
	return kx_word(KX_NP + offset);
}

static void reg_set(u32 offset, u32 value)
{
	kx_word_set(KX_NP + offset, value);
}

void kx_np_reset(void)
{
	u32 row, i;

	for (row = 0; row < ARRAY_SIZE(resets); row++)
		for (i = 0; i < resets[row].count; i++)
			reg_set(resets[row].offset + i * resets[row].step, resets[row].value);
}

/* An entry of at most 32 bits: its word's address and where in the word it stands, counted from the top. */
static u64 narrow_place(u32 bits, u32 index, u32 *shift)
{
	const u32 per_line = 128 / bits;
	const u32 first = index % per_line * bits;

	*shift = 32 - bits - first % 32;
	return KX_ERAM + index / per_line % ERAM_LINES * 16ull + first / 32 * 4;
}

static u64 wide_place(u32 bits, u32 index)
{
	return bits == 128 ? KX_ERAM + index % ERAM_LINES * 16ull
			   : KX_ERAM + index / 2 % ERAM_LINES * 16ull + index % 2 * 8;
}

void kx_eram_read(u32 bits, u32 index, u32 entry[4])
{
	u32 i, shift;

	memset(entry, 0, 16);
	if (bits >= 64) {
		for (i = 0; i < bits / 32; i++)
			entry[i] = kx_word(wide_place(bits, index) + 4 * i);
		return;
	}
	entry[0] = kx_word(narrow_place(bits, index, &shift));
	entry[0] = entry[0] >> shift & (bits == 32 ? ~0u : (1u << bits) - 1);
}

void kx_eram_write(u32 bits, u32 index, const u32 entry[4])
{
	const u32 mask = bits >= 32 ? ~0u : (1u << bits) - 1;
	u32 i, shift;
	u64 at;

	if (bits >= 64) {
		for (i = 0; i < bits / 32; i++)
			kx_word_set(wide_place(bits, index) + 4 * i, entry[i]);
		return;
	}
	at = narrow_place(bits, index, &shift);
	kx_word_set(at, (kx_word(at) & ~(mask << shift)) | (entry[0] & mask) << shift);
}

static void eram_run(u32 command)
{
	static const u32 widths[] = { 128, 64, 32, 2, 1, 128, 128, 128 };
	static const u32 zeros[4];
	const u32 bits = widths[command >> 27 & 7];
	const u32 index = command & 0x3ffffff;
	u32 entry[4], i;

	if (!(command & READS)) {
		for (i = 0; i < 4; i++)
			entry[i] = reg(0x310010 + 4 * i);
		kx_eram_write(bits, index, entry);
		return;
	}
	kx_eram_read(bits, index, entry);
	for (i = 0; i < 4; i++)
		reg_set(0x310010 + 4 * i, entry[i]);
	if (command & CLEARS)
		kx_eram_write(bits, index, zeros);
}

static void ddr_run(u32 command)
{
	const u32 words = 4 * min(1u << (command >> 28 & 3), 4u);
	const u64 first = KX_DDR + (u64)(command & 0xfffffff) * words % (4ull * DDR_LINES) * 4;
	u32 i;

	for (i = 0; i < 16; i++) {
		if (command & READS)
			reg_set(0x320040 + 4 * i, i < words ? kx_word(first + 4 * i) : 0);
		else if (i < words)
			kx_word_set(first + 4 * i, reg(0x320040 + 4 * i));
	}
}

/* Word 15 comes first; bits 17 to 20 choose the quarters that are written, the highest for words 0 to 3. */
static void zcam_run(u32 command)
{
	const bool is_register = command >> 16 & 1;
	const u64 line = (is_register ? KX_ZREG : KX_ZCAM) + (command & 0xffff) * 64ull;
	u32 i;

	for (i = 0; i < 16; i++) {
		const u32 data = 0x280008 + 4 * (15 - i);

		if (command & READS)
			reg_set(data, kx_word(line + 4 * i));
		else if (is_register || command >> (20 - i / 4) & 1)
			kx_word_set(line + 4 * i, reg(data));
	}
}

/* Rows of 80 bytes of data, as many of mask, and a word that says which of the eight parts are valid. */
static void etcam_run(u32 command)
{
	const u64 row = KX_ETCAM + (command & 0xfff) * 256ull;
	const u64 bytes = row + (command >> 29 & 1 ? 0 : 80);
	u32 i;

	for (i = 0; i < 80; i++) {
		const u32 data = 0x2780c0 + i / 4 * 4;
		const u32 shift = 24 - 8 * (i % 4);
		const u32 cell = kx_word(bytes + i / 4 * 4);

		if (command & READS)
			reg_set(data, cell);
		else if (command >> (19 - i / 10) & 1)
			kx_word_set(bytes + i / 4 * 4, (cell & ~(0xffu << shift)) | (reg(data) & 0xffu << shift));
	}
	if (!(command & READS) && command >> 28 & 1)
		kx_word_set(row + 160, command >> 20 & 0xff);
	reg_set(0x27a000, kx_word(row + 160));
}

/* Pairs of words fill an area of eRAM from its base on and go on in DDR where that ends. */
static u64 statistics_place(u32 pair)
{
	const u32 in_eram = reg(0x200004) * 2;

	if (pair < in_eram)
		return KX_ERAM + (reg(0x200000) + pair / 2) % ERAM_LINES * 16ull + pair % 2 * 8;
	return KX_DDR + (reg(0x200008) + (u64)(pair - in_eram) / 2) % DDR_LINES * 16 + pair % 2 * 8;
}

static void statistics_run(u32 command)
{
	const u32 pairs = command & WIDE ? 2 : 1;
	const u32 first = (command & 0x3ffffff) * pairs;
	u32 i;

	for (i = 0; i < 4; i++) {
		const u32 data = 0x202010 + 4 * i;
		const u64 counter = statistics_place(first + i / 2) + i % 2 * 4;

		if (!(command & READS)) {
			if (i < 2 * pairs)
				kx_word_set(counter, reg(data));
			continue;
		}
		reg_set(data, i < 2 * pairs ? kx_word(counter) : 0);
		if (i < 2 * pairs && command & CLEARS)
			kx_word_set(counter, 0);
	}
}

static void memory_run(const struct window *window, u32 number, u32 command)
{
	const u32 base = number * window->stride;
	const u64 entry = KX_OTHER + ((u64)(window->command + base) << 32) + (command & window->place) * 4ull * window->words;
	u32 i;

	for (i = 0; i < window->words; i++) {
		if (command & READS)
			reg_set(window->data + base + 4 * i, kx_word(entry + 4 * i));
		else
			kx_word_set(entry + 4 * i, reg(window->data + base + 4 * i));
	}
	reg_set(window->status + base, 1);
}

/* True when the offset is a command register; the command is done then. */
bool kx_window_run(u32 offset, u32 command)
{
	static const struct {
		u32 command, status;
		void (*run)(u32 command);
	} tables[] = {
		{ 0x310000, 0x310004, eram_run }, { 0x320000, 0x322000, ddr_run },
		{ 0x280004, 0x280000, zcam_run }, { 0x2780a4, 0x27a004, etcam_run },
		{ 0x202000, 0x202004, statistics_run },
	};
	u32 i, number;

	for (i = 0; i < ARRAY_SIZE(tables); i++) {
		if (offset == tables[i].command) {
			tables[i].run(command);
			reg_set(tables[i].status, 1);
			return true;
		}
	}
	for (i = 0; i < ARRAY_SIZE(windows); i++) {
		for (number = 0; number < windows[i].count; number++) {
			if (offset == windows[i].command + number * windows[i].stride) {
				memory_run(&windows[i], number, command);
				return true;
			}
		}
	}
	return false;
}
