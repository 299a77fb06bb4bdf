// SPDX-License-Identifier: GPL-2.0
// The functions of the card and of its way to the host, and what stands in their configuration spaces and BARs.

#include <linux/io.h>
#include <linux/list.h>
#include <linux/slab.h>
#include <linux/vmalloc.h>

#include "kx_card.h"

LIST_HEAD(kx_functions);

#define STRANGER_VENDOR 0x1234
#define LAYOUT_BYTE 0x1001
#define MAILBOX 0xf0f000
#define OTHER_MAILBOX 0xff000
#define MAILBOX_SIZE 0x1000
#define COMPAT 0x5400
#define COMPAT_COUNT 10
#define MSIX_TABLE 0x10000
#define MSIX_PENDING 0x18000
#define MSIX_VECTORS 64

static void put(struct kx_function *f, int at, int size, u32 value)
{
	kx_config_put(f, at, size, value);
}

static void may_write(struct kx_function *f, int at, int size, u32 mask)
{
	int i;

	for (i = 0; i < size; i++)
		f->writable[at + i] = mask >> (8 * i);
}

static void ones_clear(struct kx_function *f, int at, int size, u32 mask)
{
	int i;

	for (i = 0; i < size; i++)
		f->clears[at + i] = mask >> (8 * i);
}

static bool is_bridge(const struct kx_function *f)
{
	return f->kind == KX_ROOT_PORT || f->kind == KX_SWITCH_UP || f->kind == KX_SWITCH_DOWN;
}

static bool is_card(const struct kx_function *f)
{
	return f->kind == KX_PHYSICAL || f->kind == KX_VIRTUAL;
}

static void bar_fill(struct kx_function *f, int at, u32 size)
{
	put(f, at, 4, PCI_BASE_ADDRESS_MEM_TYPE_64 | PCI_BASE_ADDRESS_MEM_PREFETCH);
	may_write(f, at, 4, ~(size - 1));
	may_write(f, at + 4, 4, ~0u);
}

static void identity_fill(struct kx_function *f)
{
	static const struct {
		u16 vendor, device;
		u32 class;
	} identities[] = {
		[KX_ROOT_PORT] = { STRANGER_VENDOR, 0x0001, 0x060400 },
		[KX_SWITCH_UP] = { KX_VENDOR, 0x8036, 0x060400 },
		[KX_SWITCH_DOWN] = { KX_VENDOR, 0x8036, 0x060400 },
		[KX_PHYSICAL] = { KX_VENDOR, KX_DEVICE, 0x020000 },
		/* A virtual function has no identity of its own: its dword 0 reads all ones. */
		[KX_VIRTUAL] = { 0xffff, 0xffff, 0x020000 },
		[KX_FOREIGN] = { STRANGER_VENDOR, 0x15bb, 0x020000 },
	};

	put(f, PCI_VENDOR_ID, 2, identities[f->kind].vendor);
	put(f, PCI_DEVICE_ID, 2, identities[f->kind].device);
	put(f, PCI_CLASS_REVISION, 4, identities[f->kind].class << 8 | 1);
	if (!is_bridge(f)) {
		put(f, PCI_SUBSYSTEM_VENDOR_ID, 2, identities[KX_PHYSICAL].vendor);
		put(f, PCI_SUBSYSTEM_ID, 2, identities[KX_PHYSICAL].device);
	}
}

static void header_fill(struct kx_function *f)
{
	identity_fill(f);
	may_write(f, PCI_COMMAND, 2, f->kind == KX_VIRTUAL ? PCI_COMMAND_MASTER : 0x0547);
	put(f, PCI_STATUS, 2, PCI_STATUS_CAP_LIST);
	ones_clear(f, PCI_STATUS, 2, 0xf900);
	may_write(f, PCI_CACHE_LINE_SIZE, 1, 0xff);
	may_write(f, PCI_INTERRUPT_LINE, 1, 0xff);
	put(f, PCI_HEADER_TYPE, 1, is_bridge(f) ? PCI_HEADER_TYPE_BRIDGE : PCI_HEADER_TYPE_NORMAL);
	if (f->kind == KX_PHYSICAL && f->domain == 0)
		f->config[PCI_HEADER_TYPE] |= 0x80; /* several functions */
	if (is_bridge(f)) {
		put(f, PCI_PRIMARY_BUS, 1, f->bus);
		put(f, PCI_SECONDARY_BUS, 1, f->bus + 1);
		put(f, PCI_SUBORDINATE_BUS, 1, 0x3b);
		may_write(f, PCI_PRIMARY_BUS, 3, 0xffffff);
		may_write(f, PCI_MEMORY_BASE, 4, 0xfff0fff0);
		put(f, PCI_PREF_MEMORY_BASE, 4, 0x00010001);
		may_write(f, PCI_PREF_MEMORY_BASE, 4, 0xfff0fff0);
		may_write(f, PCI_PREF_BASE_UPPER32, 4, ~0u);
		may_write(f, PCI_PREF_LIMIT_UPPER32, 4, ~0u);
		may_write(f, PCI_BRIDGE_CONTROL, 2, 0x0043);
	} else if (f->kind != KX_VIRTUAL) {
		bar_fill(f, PCI_BASE_ADDRESS_0, f->kind == KX_FOREIGN ? KX_FOREIGN_BAR_SIZE : KX_BAR_SIZE);
	}
}

static int capability_add(struct kx_function *f, int previous, int at, u8 id)
{
	f->config[previous] = at;
	f->config[at] = id;
	return at + 1;
}

static void express_fill(struct kx_function *f)
{
	static const u8 types[] = {
		[KX_ROOT_PORT] = PCI_EXP_TYPE_ROOT_PORT, [KX_SWITCH_UP] = PCI_EXP_TYPE_UPSTREAM,
		[KX_SWITCH_DOWN] = PCI_EXP_TYPE_DOWNSTREAM, [KX_PHYSICAL] = PCI_EXP_TYPE_ENDPOINT,
		[KX_VIRTUAL] = PCI_EXP_TYPE_ENDPOINT, [KX_FOREIGN] = PCI_EXP_TYPE_RC_END,
	};
	const u8 type = f->domain != 0 ? PCI_EXP_TYPE_RC_END : types[f->kind];

	put(f, KX_EXPRESS + PCI_EXP_FLAGS, 2, 2 | type << 4);
	put(f, KX_EXPRESS + PCI_EXP_DEVCAP, 4, 0x8022);
	put(f, KX_EXPRESS + PCI_EXP_DEVCTL, 2, 0x2930);
	may_write(f, KX_EXPRESS + PCI_EXP_DEVCTL, 2, 0x7fff);
	ones_clear(f, KX_EXPRESS + PCI_EXP_DEVSTA, 2, 0x000f);
	put(f, KX_EXPRESS + PCI_EXP_LNKCAP, 4, 0x0000 | 16 << 4 | 4); /* x16 at 16 GT/s, no power saving */
	may_write(f, KX_EXPRESS + PCI_EXP_LNKCTL, 2, 0x0fd3);
	put(f, KX_EXPRESS + PCI_EXP_LNKSTA, 2, PCI_EXP_LNKSTA_DLLLA | 16 << 4 | 4);
	may_write(f, KX_EXPRESS + PCI_EXP_DEVCTL2, 2, 0xffff);
	put(f, KX_EXPRESS + PCI_EXP_LNKCAP2, 4, 0x1e);
	put(f, KX_EXPRESS + PCI_EXP_LNKCTL2, 2, 4);
	may_write(f, KX_EXPRESS + PCI_EXP_LNKCTL2, 2, 0xffff);
}

static void capabilities_fill(struct kx_function *f)
{
	int last = PCI_CAPABILITY_LIST;

	if (f->kind != KX_VIRTUAL) {
		last = capability_add(f, last, KX_POWER, PCI_CAP_ID_PM);
		put(f, KX_POWER + PCI_PM_PMC, 2, 3);
		put(f, KX_POWER + PCI_PM_CTRL, 2, PCI_PM_CTRL_NO_SOFT_RESET);
		may_write(f, KX_POWER + PCI_PM_CTRL, 2, PCI_PM_CTRL_STATE_MASK);
	}
	if (is_card(f)) {
		last = capability_add(f, last, KX_MSIX, PCI_CAP_ID_MSIX);
		put(f, KX_MSIX + PCI_MSIX_FLAGS, 2, MSIX_VECTORS - 1);
		may_write(f, KX_MSIX + PCI_MSIX_FLAGS, 2, 0xc000);
		put(f, KX_MSIX + PCI_MSIX_TABLE, 4, MSIX_TABLE);
		put(f, KX_MSIX + PCI_MSIX_PBA, 4, MSIX_PENDING);
	}
	last = capability_add(f, last, KX_EXPRESS, PCI_CAP_ID_EXP);
	express_fill(f);
	if (is_card(f)) {
		capability_add(f, last, KX_VPD, PCI_CAP_ID_VPD);
		may_write(f, KX_VPD + PCI_VPD_ADDR, 2, 0xffff);
		may_write(f, KX_VPD + PCI_VPD_DATA, 4, ~0u);
		f->tunnel_status = 1;
	}
}

static void sriov_fill(struct kx_function *f)
{
	const int at = KX_SRIOV;

	put(f, at, 4, PCI_EXT_CAP_ID_SRIOV | 1 << 16);
	may_write(f, at + PCI_SRIOV_CTRL, 2, 0x000f);
	put(f, at + PCI_SRIOV_INITIAL_VF, 2, KX_VF_COUNT);
	put(f, at + PCI_SRIOV_TOTAL_VF, 2, KX_VF_COUNT);
	may_write(f, at + PCI_SRIOV_NUM_VF, 2, 0xffff);
	put(f, at + PCI_SRIOV_VF_OFFSET, 2, KX_VF_OFFSET - PCI_FUNC(f->devfn) + KX_VF_COUNT * PCI_FUNC(f->devfn));
	put(f, at + PCI_SRIOV_VF_STRIDE, 2, 1);
	put(f, at + PCI_SRIOV_VF_DID, 2, KX_VF_DEVICE);
	put(f, at + PCI_SRIOV_SUP_PGSIZE, 4, 0x553);
	put(f, at + PCI_SRIOV_SYS_PGSIZE, 4, 1);
	may_write(f, at + PCI_SRIOV_SYS_PGSIZE, 4, 0x553);
	bar_fill(f, at + PCI_SRIOV_BAR, KX_VF_BAR_SIZE);
}

static void extended_fill(struct kx_function *f)
{
	const bool sriov = f->kind == KX_PHYSICAL;

	put(f, KX_AER, 4, PCI_EXT_CAP_ID_ERR | 2 << 16 | (sriov ? KX_SRIOV << 20 : 0));
	ones_clear(f, KX_AER + PCI_ERR_UNCOR_STATUS, 4, ~0u);
	put(f, KX_AER + PCI_ERR_UNCOR_MASK, 4, 0x00400000);
	may_write(f, KX_AER + PCI_ERR_UNCOR_MASK, 4, ~0u);
	put(f, KX_AER + PCI_ERR_UNCOR_SEVER, 4, 0x00463030);
	may_write(f, KX_AER + PCI_ERR_UNCOR_SEVER, 4, ~0u);
	ones_clear(f, KX_AER + PCI_ERR_COR_STATUS, 4, ~0u);
	put(f, KX_AER + PCI_ERR_COR_MASK, 4, 0x6000);
	may_write(f, KX_AER + PCI_ERR_COR_MASK, 4, ~0u);
	put(f, KX_AER + PCI_ERR_CAP, 4, 0xa0);
	may_write(f, KX_AER + PCI_ERR_CAP, 4, 0x140);
	if (sriov)
		sriov_fill(f);
}

static struct kx_function *function_add(enum kx_kind kind, int domain, u8 bus, u8 devfn)
{
	struct kx_function *f = vzalloc(sizeof(*f));

	if (!f)
		return NULL;
	f->kind = kind;
	f->domain = domain;
	f->bus = bus;
	f->devfn = devfn;
	header_fill(f);
	capabilities_fill(f);
	extended_fill(f);
	list_add_tail(&f->node, &kx_functions);
	return f;
}

static int physical_add(int domain, u8 bus, u8 devfn)
{
	struct kx_function *owner = function_add(KX_PHYSICAL, domain, bus, devfn);
	unsigned int i;

	if (!owner)
		return -ENOMEM;
	for (i = 0; i < KX_VF_COUNT; i++) {
		const u8 place = devfn + kx_config_get(owner, KX_SRIOV + PCI_SRIOV_VF_OFFSET, 2) + i;
		struct kx_function *f = function_add(KX_VIRTUAL, domain, bus, place);

		if (!f)
			return -ENOMEM;
		f->owner = owner;
		f->index = i;
	}
	return 0;
}

int kx_functions_make(bool far_segment)
{
	if (!function_add(KX_ROOT_PORT, 0, 0x38, PCI_DEVFN(0, 0)) || !function_add(KX_FOREIGN, 0, 0x38, PCI_DEVFN(1, 0)) ||
	    !function_add(KX_SWITCH_UP, 0, 0x39, 0) || !function_add(KX_SWITCH_DOWN, 0, 0x3a, 0) ||
	    physical_add(0, 0x3b, PCI_DEVFN(0, 0)) || physical_add(0, 0x3b, PCI_DEVFN(0, 1)))
		return -ENOMEM;
	return far_segment ? physical_add(0x10000, 0, PCI_DEVFN(0, 0)) : 0;
}

void kx_functions_free(void)
{
	struct kx_function *f, *next;

	list_for_each_entry_safe(f, next, &kx_functions, node) {
		if (f->bar)
			iounmap(f->bar);
		list_del(&f->node);
		vfree(f);
	}
}

/* A virtual function is there while its owner has that many turned on. */
static bool is_present(const struct kx_function *f)
{
	if (f->kind != KX_VIRTUAL)
		return true;
	return (f->owner->config[KX_SRIOV + PCI_SRIOV_CTRL] & PCI_SRIOV_CTRL_VFE) &&
	       f->index < kx_config_get(f->owner, KX_SRIOV + PCI_SRIOV_NUM_VF, 2);
}

struct kx_function *kx_function_find(int domain, u8 bus, u8 devfn)
{
	struct kx_function *f;

	list_for_each_entry(f, &kx_functions, node) {
		if (f->devfn == devfn && f->bus == bus && f->domain == domain)
			return is_present(f) ? f : NULL;
	}
	return NULL;
}

static void records_fill(u8 __iomem *bar)
{
	int id;

	writeb(kx_settings.layout_byte, bar + LAYOUT_BYTE);
	for (id = 0; id < COMPAT_COUNT; id++)
		writeb(id + 1, bar + COMPAT + 8 * id); /* the item; version 0.0.0 */
}

/* What stands in the BARs when the card comes up; a card that is gone reads all ones. */
void kx_bars_fill(void)
{
	struct kx_function *f;

	list_for_each_entry(f, &kx_functions, node) {
		const u32 size = f->kind == KX_VIRTUAL ? KX_VF_BAR_SIZE : KX_BAR_SIZE;

		if (!f->bar)
			continue;
		if (kx_settings.dead) {
			memset_io(f->bar, 0xff, size);
			continue;
		}
		memset_io(f->bar, 0, 0x20000);
		if (f->kind == KX_PHYSICAL) {
			memset_io(f->bar + MAILBOX, 0, MAILBOX_SIZE);
			memset_io(f->bar + OTHER_MAILBOX, 0, MAILBOX_SIZE);
		}
		records_fill(f->bar);
	}
}

int kx_bars_map(void)
{
	struct kx_function *f;

	list_for_each_entry(f, &kx_functions, node) {
		const int at = f->kind == KX_VIRTUAL ? KX_SRIOV + PCI_SRIOV_BAR : PCI_BASE_ADDRESS_0;
		const struct kx_function *holder = f->kind == KX_VIRTUAL ? f->owner : f;
		u64 start = kx_config_get(holder, at, 4) & ~0xfull;

		if (!is_card(f))
			continue;
		start |= (u64)kx_config_get(holder, at + 4, 4) << 32;
		if (start == 0)
			return -EBUSY;
		f->bar = f->kind == KX_VIRTUAL ? ioremap(start + f->index * KX_VF_BAR_SIZE, KX_VF_BAR_SIZE)
					       : ioremap(start, KX_BAR_SIZE);
		if (!f->bar)
			return -ENOMEM;
	}
	kx_bars_fill();
	return 0;
}
