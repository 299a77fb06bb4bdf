// SPDX-License-Identifier: GPL-2.0
// The host bridges that the card hangs from, and the memory behind their windows.

#include <linux/ioport.h>
#include <linux/kprobes.h>

#include "kx_card.h"

struct root {
	int domain;
#ifdef CONFIG_X86
	struct pci_sysdata sysdata; /* there the bus asks it for the domain */
#endif
	struct resource memory;
	struct resource buses;
	struct pci_bus *bus;
};

#define NEAR_SIZE (72ull << 20)
static struct root near_root = {
	.domain = 0,
	.buses = { .name = "card buses", .start = 0x38, .end = 0x3f, .flags = IORESOURCE_BUS },
};
static struct root far_root = {
	.domain = 0x10000,
	.buses = { .name = "far card buses", .start = 0, .end = 1, .flags = IORESOURCE_BUS },
};

/* The log tells whose BARs a program maps: a look at them is never seen otherwise. */
static int bar_mapped(struct kprobe *probe, struct pt_regs *registers)
{
	const struct pci_dev *pci = (const struct pci_dev *)regs_get_kernel_argument(registers, 0);

	kx_log("bar_mapped function=%s bar=%d", pci_name(pci), (int)regs_get_kernel_argument(registers, 1));
	return 0;
}

static struct kprobe map_probe = { .symbol_name = "pci_mmap_resource_range", .pre_handler = bar_mapped };
static bool map_probed;

static struct pci_host_bridge *bridge_make(struct root *root)
{
	struct pci_host_bridge *bridge = pci_alloc_host_bridge(0);

	if (!bridge)
		return NULL;
#ifdef CONFIG_X86
	root->sysdata = (struct pci_sysdata) { .domain = root->domain, .node = NUMA_NO_NODE };
	bridge->sysdata = &root->sysdata;
#else
	bridge->domain_nr = root->domain;
#endif
	bridge->busnr = root->buses.start;
	bridge->ops = &kx_pci_ops;
	pci_add_resource(&bridge->windows, &root->memory);
	pci_add_resource(&bridge->windows, &root->buses);
	return bridge;
}

static int root_make(struct root *root, const char *name, u64 start, u64 end)
{
	struct pci_host_bridge *bridge;
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
	bridge = bridge_make(root);
	if (!bridge) {
		remove_resource(&root->memory);
		return -ENOMEM;
	}
	pci_lock_rescan_remove();
	error = pci_scan_root_bus_bridge(bridge);
	if (error) {
		pci_free_host_bridge(bridge);
		remove_resource(&root->memory);
	} else {
		root->bus = bridge->bus;
		pci_bus_size_bridges(root->bus);
		pci_bus_assign_resources(root->bus);
		pci_bus_add_devices(root->bus);
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
