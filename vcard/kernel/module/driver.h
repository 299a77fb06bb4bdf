/* SPDX-License-Identifier: GPL-2.0 */
/* What the parts of the driver know of each other. */
#pragma once

#include <linux/list.h>
#include <linux/netdevice.h>
#include <linux/pci.h>
#include <linux/pid.h>

struct kx_port {
	struct net_device *netdev;
	struct pci_dev *pci;
	/* The one tool that gets notices; its process, and its netlink port. Under a lock of driver_messages.c. */
	struct pid *tool;
	u32 tool_port;
	unsigned long ended; /* when the last registration did */
	struct list_head node; /* while there is a tool */
};

/* driver.c: how registrations end, as parameters of the module. */
extern bool kx_ends_with_socket;
extern unsigned int kx_linger_ms;

/* driver_messages.c */
int kx_messages_start(void);
void kx_messages_stop(void);
int kx_message_ioctl(struct net_device *netdev, struct ifreq *request, void __user *data, int command);
void kx_port_forget(struct kx_port *port);

/* driver_module.c */
extern const struct ethtool_ops kx_ethtool_ops;
