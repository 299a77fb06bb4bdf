// SPDX-License-Identifier: GPL-2.0
// Card memory: words that are there once they were written. It is reached with interrupts off.

#include <linux/slab.h>
#include <linux/xarray.h>

#include "kx_card.h"

#define PAGE_WORDS 1024

DEFINE_SPINLOCK(kx_memory_lock);
static DEFINE_XARRAY(pages);

u32 kx_word(u64 address)
{
	const u32 *page = xa_load(&pages, address >> 12);

	return page ? page[address >> 2 & (PAGE_WORDS - 1)] : 0;
}

void kx_word_set(u64 address, u32 value)
{
	u32 *page = xa_load(&pages, address >> 12);

	if (!page) {
		if (value == 0)
			return;
		page = kzalloc(PAGE_WORDS * sizeof(u32), GFP_ATOMIC);
		if (!page || xa_is_err(xa_store(&pages, address >> 12, page, GFP_ATOMIC))) {
			kfree(page);
			pr_warn_once("kx_card: no memory for card memory\n");
			return;
		}
	}
	page[address >> 2 & (PAGE_WORDS - 1)] = value;
}

static bool in_network_processor(u64 address)
{
	return address >= KX_NP && address < KX_NP + KX_NP_SIZE;
}

/* The controllers show function 0's configuration space, each at a place of its own. */
static bool is_controller(u64 address)
{
	return address >= 0x8400000000 && address < 0x8900000000 && (u32)address < KX_CONFIG_SIZE;
}

u32 kx_memory_read(u64 address)
{
	unsigned long flags;
	u32 value;

	if (is_controller(address))
		return kx_config_get(kx_function_find(0, 0x3b, 0), (u32)address & ~3, 4);

	spin_lock_irqsave(&kx_memory_lock, flags);
	value = kx_word(address);
	spin_unlock_irqrestore(&kx_memory_lock, flags);
	return value;
}

#define DOORBELLS 0x2000000u
#define DOORBELL_STRIDE 0x20u
#define DOORBELL_LENGTH 0x8u

void kx_memory_write(u64 address, u32 value)
{
	unsigned long flags;

	spin_lock_irqsave(&kx_memory_lock, flags);
	kx_word_set(address, value);
	if (in_network_processor(address)) {
		const u32 offset = address - KX_NP;

		if (!kx_window_run(offset, value) && offset >= DOORBELLS &&
		    offset % DOORBELL_STRIDE == DOORBELL_LENGTH)
			kx_doorbell((offset - DOORBELLS) / DOORBELL_STRIDE);
	}
	spin_unlock_irqrestore(&kx_memory_lock, flags);
}

int kx_memory_make(void)
{
	kx_np_reset();
	return 0;
}

void kx_memory_free(void)
{
	unsigned long index;
	u32 *page;

	xa_for_each(&pages, index, page)
		kfree(page);
	xa_destroy(&pages);
}
