// SPDX-License-Identifier: GPL-2.0
// The host bridges that the card hangs from, and the memory behind their windows.

#include <linux/ioport.h>
#include <linux/kprobes.h>

#include "kx_card.h"

struct root {
	struct pci_sysdata sysdata;
	struct resource memory;
	struct resource buses;
	struct pci_bus *bus;
};

#define NEAR_SIZE (72ull << 20)
static struct root near_root = {
	.sysdata = { .domain = 0, .node = NUMA_NO_NODE },
	.buses = { .name = "card buses", .start = 0x38, .end = 0x3f, .flags = IORESOURCE_BUS },
};
static struct root far_root = {
	.sysdata = { .domain = 0x10000, .node = NUMA_NO_NODE },
	.buses = { .name = "far card buses", .start = 0, .end = 1, .flags = IORESOURCE_BUS },
};

/* The log tells whose BARs a program maps: a look at them is never seen otherwise. */
static int bar_mapped(struct kprobe *probe, struct pt_regs *registers)
{
	const struct pci_dev *pci = (const struct pci_dev *)registers->di;

	kx_log("bar_mapped function=%s bar=%d", pci_name(pci), (int)registers->si);
	return 0;
}

static struct kprobe map_probe = { .symbol_name = "pci_mmap_resource_range", .pre_handler = bar_mapped };
static bool map_probed;

static int root_make(struct root *root, const char *name, u64 start, u64 end)
{
	LIST_HEAD(resources);
	int error;

	root->memory = (struct resource) {
		.name = name,
		.start = start,
		.end = end,
		.flags = IORESOURCE_MEM | IORESOURCE_MEM_64 | IORESOURCE_PREFETCH,
	};
	error = insert_resource(&iomem_resource, &root->memory);
	if (error)
		return error;
	pci_add_resource(&resources, &root->memory);
	pci_add_resource(&resources, &root->buses);
	pci_lock_rescan_remove();
	root->bus = pci_create_root_bus(NULL, root->buses.start, &kx_pci_ops, &root->sysdata, &resources);
	if (root->bus) {
		pci_scan_child_bus(root->bus);
		pci_bus_size_bridges(root->bus);
		pci_bus_assign_resources(root->bus);
		pci_bus_add_devices(root->bus);
	} else {
		pci_free_resource_list(&resources);
		remove_resource(&root->memory);
		error = -ENODEV;
	}
	pci_unlock_rescan_remove();
	return error;
}

static void root_free(struct root *root)
{
	if (!root->bus)
		return;
	pci_lock_rescan_remove();
	pci_stop_root_bus(root->bus);
	pci_remove_root_bus(root->bus);
	pci_unlock_rescan_remove();
	remove_resource(&root->memory);
	root->bus = NULL;
}

int kx_bus_make(u64 memory, u64 size, bool far_segment)
{
	int error = root_make(&near_root, "card", memory, memory + NEAR_SIZE - 1);

	map_probed = register_kprobe(&map_probe) == 0;
	if (!error && far_segment)
		error = root_make(&far_root, "far card", memory + NEAR_SIZE, memory + size - 1);
	return error;
}

void kx_bus_free(void)
{
	if (map_probed)
		unregister_kprobe(&map_probe);
	root_free(&far_root);
	root_free(&near_root);
}
