// SPDX-License-Identifier: GPL-2.0
// The card's network driver: an interface for every function that it is bound to. It carries no packets.

#include <linux/etherdevice.h>
#include <linux/module.h>

#include "driver.h"
#include "kx_card_driver.h"

#define DRIVER_NAME "corvane10e"

/* A driver owns its BAR as a rule; without it other programs may map it on a kernel that is strict about that. */
static bool claim = true;
module_param(claim, bool, 0644);
MODULE_PARM_DESC(claim, "request BAR 0 of the functions that are bound from now on");

bool kx_ends_with_socket = true;
module_param_named(ends_with_socket, kx_ends_with_socket, bool, 0644);
MODULE_PARM_DESC(ends_with_socket, "a registration ends when the tool's netlink socket is closed, not only with its process");
unsigned int kx_linger_ms;
module_param_named(linger_ms, kx_linger_ms, uint, 0644);
MODULE_PARM_DESC(linger_ms, "so long after its end a registration is still in the way");

static netdev_tx_t packet_send(struct sk_buff *packet, struct net_device *netdev)
{
	dev_kfree_skb(packet);
	return NETDEV_TX_OK;
}

static const struct net_device_ops netdev_ops = {
	.ndo_start_xmit = packet_send,
	.ndo_siocdevprivate = kx_message_ioctl,
};

static int interface_make(struct pci_dev *pci)
{
	struct net_device *netdev = alloc_etherdev(sizeof(struct kx_port));
	struct kx_port *port;
	int error;

	if (!netdev)
		return -ENOMEM;
	port = netdev_priv(netdev);
	port->netdev = netdev;
	port->pci = pci;
	SET_NETDEV_DEV(netdev, &pci->dev);
	netdev->netdev_ops = &netdev_ops;
	netdev->ethtool_ops = &kx_ethtool_ops;
	eth_hw_addr_random(netdev);
	error = register_netdev(netdev);
	if (error) {
		free_netdev(netdev);
		return error;
	}
	pci_set_drvdata(pci, netdev);
	return 0;
}

static int probe(struct pci_dev *pci, const struct pci_device_id *id)
{
	int error = pci_enable_device_mem(pci);

	if (error)
		return error;
	if (claim) {
		error = pci_request_region(pci, 0, DRIVER_NAME);
		if (error)
			goto disable;
	}
	error = interface_make(pci);
	if (!error)
		return 0;
	pci_release_region(pci, 0);
disable:
	pci_disable_device(pci);
	return error;
}

static void remove(struct pci_dev *pci)
{
	struct net_device *netdev = pci_get_drvdata(pci);

	pci_disable_sriov(pci);
	unregister_netdev(netdev);
	kx_port_forget(netdev_priv(netdev));
	free_netdev(netdev);
	pci_release_region(pci, 0);
	pci_disable_device(pci);
}

static int virtual_functions_set(struct pci_dev *pci, int count)
{
	int error;

	if (count == 0) {
		pci_disable_sriov(pci);
		return 0;
	}
	error = pci_enable_sriov(pci, count);
	return error ? error : count;
}

static const struct pci_device_id identities[] = {
	{ PCI_DEVICE(KX_VENDOR, KX_DEVICE) },
	{ PCI_DEVICE(KX_VENDOR, KX_VF_DEVICE) },
	{},
};
MODULE_DEVICE_TABLE(pci, identities);

static struct pci_driver driver = {
	.name = DRIVER_NAME,
	.id_table = identities,
	.probe = probe,
	.remove = remove,
	.sriov_configure = virtual_functions_set,
};

static int __init corvane_init(void)
{
	int error = kx_messages_start();

	if (error)
		return error;
	error = pci_register_driver(&driver);
	if (error)
		kx_messages_stop();
	return error;
}

static void __exit corvane_exit(void)
{
	pci_unregister_driver(&driver);
	kx_messages_stop();
}

module_init(corvane_init);
module_exit(corvane_exit);
MODULE_DESCRIPTION("The card's driver, as far as the maintenance tool uses it");
MODULE_LICENSE("GPL");
