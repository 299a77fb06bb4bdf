// SPDX-License-Identifier: GPL-2.0
// Configuration accesses as they come from the host. The kernel lets one through at a time.

#include "kx_card.h"

u32 kx_config_get(const struct kx_function *f, int where, int size)
{
	u32 value = 0;
	int i;

	for (i = 0; i < size; i++)
		value |= (u32)f->config[where + i] << (8 * i);
	return value;
}

void kx_config_put(struct kx_function *f, int where, int size, u32 value)
{
	int i;

	for (i = 0; i < size; i++)
		f->config[where + i] = value >> (8 * i);
}

static int config_read(struct pci_bus *bus, unsigned int devfn, int where, int size, u32 *value)
{
	const struct kx_function *f = kx_function_find(pci_domain_nr(bus), bus->number, devfn);

	if (!f || READ_ONCE(kx_settings.dead)) {
		*value = ~0u;
		return f ? PCIBIOS_SUCCESSFUL : PCIBIOS_DEVICE_NOT_FOUND;
	}
	*value = kx_config_get(f, where, size);
	if (f->kind == KX_FOREIGN)
		kx_log("foreign_config_read offset=0x%03x", where);
	return PCIBIOS_SUCCESSFUL;
}

static bool has_tunnel(const struct kx_function *f)
{
	return f->kind == KX_PHYSICAL || f->kind == KX_VIRTUAL;
}

static int config_write(struct pci_bus *bus, unsigned int devfn, int where, int size, u32 value)
{
	struct kx_function *f = kx_function_find(pci_domain_nr(bus), bus->number, devfn);
	int i;

	if (!f)
		return PCIBIOS_DEVICE_NOT_FOUND;
	if (READ_ONCE(kx_settings.dead))
		return PCIBIOS_SUCCESSFUL;
	for (i = 0; i < size; i++) {
		const u8 byte = value >> (8 * i);
		u8 *cell = &f->config[where + i];

		*cell = (*cell & ~f->writable[where + i]) | (byte & f->writable[where + i]);
		*cell &= ~(byte & f->clears[where + i]);
	}
	/* The upper byte of the address word holds the flag: writing it starts a transfer. */
	if (has_tunnel(f) && where <= KX_VPD + 3 && where + size > KX_VPD + 3)
		kx_tunnel_written(f);
	return PCIBIOS_SUCCESSFUL;
}

struct pci_ops kx_pci_ops = {
	.read = config_read,
	.write = config_write,
};
