// SPDX-License-Identifier: GPL-2.0
// The card's end of the VPD capability: product data as the standard has it, and the tunnel to card memory.

#include "kx_card.h"

/* Bits 12 to 14 of the address word: what is asked. Product data lies at the addresses that ask nothing. */
enum { PRODUCT_DATA, SET_ADDRESS, READ_WORD, WRITE_WORD, TUNNEL_RESET, TUNNEL_STATUS };

#define FLAG 0x8000
#define FIELD 0x0fff
/* Bits 32 to 43 of the card address come in the field, of which 40 and 41 are the access mode's. */
#define MODE_BITS 0x0300

static const u8 product_data[] = {
	0x82, 9, 0, 'K', 'X', ' ', 'C', 'A', 'R', 'D', ' ', ' ',
	0x90, 37, 0,
	'P', 'N', 13, 'X', 'X', 'X', ' ', 'B', 'O', 'A', 'R', 'D', 'T', 'Y', 'P', 'E',
	'S', 'N', 12, 'K', 'X', '2', '6', '0', '1', 'A', '0', '0', '0', '4', '2',
	'R', 'V', 3, 0, 0, 0,
	0x78,
};

/* All bytes from the first to the sum's add up to 0; the sum is the first byte of RV. */
#define SUM_PLACE (sizeof(product_data) - 4)

static u8 product_byte(u32 at)
{
	u8 sum = 0;
	u32 i;

	if (at >= sizeof(product_data))
		return 0;
	if (at != SUM_PLACE)
		return product_data[at];
	for (i = 0; i < SUM_PLACE; i++)
		sum -= product_data[i];
	return sum;
}

static u32 product_word(u32 at)
{
	return product_byte(at) | product_byte(at + 1) << 8 | product_byte(at + 2) << 16 |
	       (u32)product_byte(at + 3) << 24;
}

static u32 execute(struct kx_function *f, u16 command, u32 data)
{
	switch (command >> 12 & 7) {
	case PRODUCT_DATA:
		return command & FLAG ? data : product_word(command & FIELD);
	case SET_ADDRESS:
		f->tunnel_address = (u64)(command & FIELD & ~MODE_BITS) << 32 | data;
		return data;
	case READ_WORD:
		f->tunnel_status = 1;
		return kx_memory_read(f->tunnel_address);
	case WRITE_WORD:
		f->tunnel_status = 1;
		kx_memory_write(f->tunnel_address, data);
		return data;
	case TUNNEL_RESET:
		f->tunnel_status = 1;
		return data;
	case TUNNEL_STATUS:
		return f->tunnel_status;
	default:
		f->tunnel_status = 0;
		return data;
	}
}

void kx_tunnel_written(struct kx_function *f)
{
	const u16 command = kx_config_get(f, KX_VPD + PCI_VPD_ADDR, 2);
	const u32 data = kx_config_get(f, KX_VPD + PCI_VPD_DATA, 4);

	if (kx_settings.trace_tunnel)
		kx_log("tunnel function=%02x:%02x.%x command=0x%04x data=0x%08x", f->bus, PCI_SLOT(f->devfn),
		       PCI_FUNC(f->devfn), command, data);
	if (kx_settings.tunnel_stuck != 0) {
		kx_settings.tunnel_stuck--;
		return;
	}
	kx_config_put(f, KX_VPD + PCI_VPD_DATA, 4, execute(f, command, data));
	kx_config_put(f, KX_VPD + PCI_VPD_ADDR, 2, command ^ FLAG);
}
