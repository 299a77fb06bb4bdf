// SPDX-License-Identifier: GPL-2.0
// The cable module of an interface, as ethtool reads it: a QSFP28 with one page.

#include <linux/ethtool.h>

#include "driver.h"
#include "kx_card_driver.h"

#define PAGE_LENGTH 256

static void text_put(u8 *page, int at, int length, const char *text)
{
	memset(page + at, ' ', length);
	memcpy(page + at, text, strlen(text));
}

static void be16_put(u8 *page, int at, u16 value)
{
	page[at] = value >> 8;
	page[at + 1] = value;
}

static void sum_put(u8 *page, int first, int at)
{
	page[at] = 0;
	for (; first < at; first++)
		page[at] += page[first];
}

static void page_fill(u8 page[PAGE_LENGTH])
{
	int lane;

	memset(page, 0, PAGE_LENGTH);
	page[0] = page[128] = 0x11; /* QSFP28 */
	be16_put(page, 22, 38 * 256); /* degrees */
	be16_put(page, 26, 33000); /* 0.1 millivolt */
	for (lane = 0; lane < 4; lane++) {
		be16_put(page, 34 + 2 * lane, 5000); /* received, 0.1 microwatt */
		be16_put(page, 42 + 2 * lane, 3250); /* bias, 2 microampere */
		be16_put(page, 50 + 2 * lane, 8000); /* sent */
	}
	page[140] = 255; /* the rate stands in byte 222, in 250 Mbit/s */
	page[222] = 103;
	text_put(page, 148, 16, "CORVANE OPTICS");
	page[165] = 0x02;
	page[166] = 0x1c;
	page[167] = 0xf2;
	text_put(page, 168, 16, "CVO-28-SR");
	text_put(page, 184, 2, "A1");
	text_put(page, 196, 16, "CVO2601A00017");
	text_put(page, 212, 8, "260314");
	sum_put(page, 128, 191);
	sum_put(page, 192, 223);
}

static int information_get(struct net_device *netdev, struct ethtool_modinfo *information)
{
	information->type = ETH_MODULE_SFF_8636;
	information->eeprom_len = PAGE_LENGTH;
	return 0;
}

static int eeprom_get(struct net_device *netdev, struct ethtool_eeprom *what, u8 *bytes)
{
	u8 page[PAGE_LENGTH];

	if (what->offset > PAGE_LENGTH || what->len > PAGE_LENGTH - what->offset)
		return -EINVAL;
	page_fill(page);
	memcpy(bytes, page + what->offset, what->len);
	kx_card_log("module_read offset=%u length=%u", what->offset, what->len);
	return 0;
}

const struct ethtool_ops kx_ethtool_ops = {
	.get_module_info = information_get,
	.get_module_eeprom = eeprom_get,
};
