// SPDX-License-Identifier: GPL-2.0
// What the maintenance tool says to the driver: its private ioctl, and the generic netlink family of the notices.

#include <linux/capability.h>
#include <linux/netlink.h>
#include <linux/notifier.h>
#include <linux/sched/signal.h>
#include <linux/slab.h>
#include <linux/uaccess.h>
#include <net/genetlink.h>
#include <asm/unaligned.h>

#include "driver.h"
#include "kx_card_driver.h"

#define MESSAGE_IOCTL (SIOCDEVPRIVATE + 13)
#define HEADER 40
#define REPLY_LENGTH_PLACE 32
#define PAYLOAD_MAX 2036
#define PROCESSED 1
#define CHECK_WORD 0xc0427a39

enum { REGISTER = 0, CARD_REQUEST, DEVICE_INFORMATION, VF_STATUS, PORT_QUERY, CAPTURE, COMPAT };

struct message {
	u32 type;
	u32 event_pid;
	u64 status;
	u32 event;
	u64 reply;
	u16 reply_length;
	u16 payload_length;
	u8 payload[PAYLOAD_MAX];
	/* What comes of it. */
	u32 flag;
	s32 result;
	u16 answer_length;
	u8 answer[PAYLOAD_MAX];
};

static DEFINE_SPINLOCK(registrations);
static LIST_HEAD(ports); /* that have a tool */

enum { NOTICE_COMMAND = 1, NOTICE_ATTRIBUTE = 1 };
static struct genl_family family = {
	.name = "tools_family",
	.version = 1,
	.maxattr = NOTICE_ATTRIBUTE,
	.module = THIS_MODULE,
};

/* A notice for a tool that has not opened its end yet is kept: the card tries it again. */
static int notice_deliver(void *context, const void *payload, size_t length)
{
	struct kx_port *port = context;
	struct sk_buff *packet;
	void *header;
	int error;

	packet = genlmsg_new(nla_total_size(length), GFP_KERNEL);
	if (!packet)
		return -ENOMEM;
	header = genlmsg_put(packet, port->tool_port, 0, &family, 0, NOTICE_COMMAND);
	if (!header || nla_put(packet, NOTICE_ATTRIBUTE, length, payload)) {
		nlmsg_free(packet);
		return -EMSGSIZE;
	}
	genlmsg_end(packet, header);
	error = genlmsg_unicast(&init_net, packet, port->tool_port);
	return error < 0 ? error : 0;
}

/* Under the lock. */
static void registration_end(struct kx_port *port)
{
	if (port->tool) {
		list_del(&port->node);
		port->ended = jiffies;
	}
	put_pid(port->tool);
	port->tool = NULL;
}

void kx_port_forget(struct kx_port *port)
{
	kx_card_detach(port);
	spin_lock(&registrations);
	registration_end(port);
	spin_unlock(&registrations);
}

/* A registration lasts until the tool's netlink socket is closed or its process has ended. */
static int socket_closed(struct notifier_block *block, unsigned long event, void *data)
{
	const struct netlink_notify *notify = data;
	struct kx_port *port, *next;

	if (!kx_ends_with_socket || event != NETLINK_URELEASE || notify->protocol != NETLINK_GENERIC || notify->net != &init_net)
		return NOTIFY_DONE;
	spin_lock(&registrations);
	list_for_each_entry_safe(port, next, &ports, node)
		if (port->tool_port == notify->portid)
			registration_end(port);
	spin_unlock(&registrations);
	return NOTIFY_DONE;
}

static struct notifier_block socket_notifier = { .notifier_call = socket_closed };

static bool is_taken(const struct kx_port *port)
{
	struct task_struct *task;
	bool taken;

	rcu_read_lock();
	task = port->tool ? pid_task(port->tool, PIDTYPE_TGID) : NULL;
	taken = task && task->exit_state == 0;
	rcu_read_unlock();
	if (!taken && !port->tool && kx_linger_ms != 0 && port->ended != 0)
		taken = time_before(jiffies, port->ended + msecs_to_jiffies(kx_linger_ms));
	return taken;
}

static int tool_register(struct kx_port *port, struct message *message)
{
	spin_lock(&registrations);
	if (is_taken(port)) {
		spin_unlock(&registrations);
		return -EBUSY;
	}
	registration_end(port);
	port->tool = get_pid(task_tgid(current));
	port->tool_port = message->event_pid;
	list_add(&port->node, &ports);
	spin_unlock(&registrations);
	kx_card_attach(notice_deliver, port);
	message->answer_length = 4;
	put_unaligned_le32(CHECK_WORD, message->answer);
	return 0;
}

static int message_do(struct kx_port *port, struct message *message)
{
	message->flag = PROCESSED;
	message->result = 0;
	message->answer_length = 0;
	switch (message->type) {
	case REGISTER:
		return tool_register(port, message);
	case CARD_REQUEST:
		message->answer_length = min_t(u16, message->reply_length, PAYLOAD_MAX);
		message->result = kx_card_request(message->event, message->payload, message->payload_length,
						  message->answer, &message->answer_length);
		if (message->result != 0)
			message->answer_length = 0;
		return 0;
	case COMPAT:
		message->answer_length = 8; /* item and versions 0 */
		memset(message->answer, 0, 8);
		return 0;
	case DEVICE_INFORMATION:
	case VF_STATUS:
	case PORT_QUERY:
	case CAPTURE:
		return 0;
	default:
		return -EINVAL;
	}
}

static int message_read(struct message *message, const u8 __user *data)
{
	u8 header[HEADER];

	if (copy_from_user(header, data, sizeof(header)))
		return -EFAULT;
	message->type = get_unaligned_le32(header);
	message->event_pid = get_unaligned_le32(header + 4);
	message->status = get_unaligned_le64(header + 8);
	message->event = get_unaligned_le32(header + 16);
	message->reply = get_unaligned_le64(header + 24);
	message->reply_length = get_unaligned_le16(header + REPLY_LENGTH_PLACE);
	message->payload_length = get_unaligned_le16(header + 36);
	if (message->payload_length > PAYLOAD_MAX)
		return -EINVAL;
	return copy_from_user(message->payload, data + HEADER, message->payload_length) ? -EFAULT : 0;
}

static int outcome_write(struct message *message, u8 __user *data)
{
	u32 status[2] = { message->flag, message->result };

	message->answer_length = min(message->answer_length, message->reply_length);
	if (message->answer_length != 0 &&
	    (copy_to_user(u64_to_user_ptr(message->reply), message->answer, message->answer_length) ||
	     copy_to_user(data + REPLY_LENGTH_PLACE, &message->answer_length, sizeof(message->answer_length))))
		return -EFAULT;
	return copy_to_user(u64_to_user_ptr(message->status), status, sizeof(status)) ? -EFAULT : 0;
}

int kx_message_ioctl(struct net_device *netdev, struct ifreq *request, void __user *data, int command)
{
	struct message *message;
	int error;

	if (command != MESSAGE_IOCTL)
		return -EOPNOTSUPP;
	if (!capable(CAP_NET_ADMIN))
		return -EPERM;
	message = kmalloc(sizeof(*message), GFP_KERNEL);
	if (!message)
		return -ENOMEM;
	error = message_read(message, data);
	if (!error)
		error = message_do(netdev_priv(netdev), message);
	if (!error)
		error = outcome_write(message, data);
	kx_card_log("ioctl interface=%s type=%u event=%u errno=%d result=%d", netdev->name, message->type,
		    message->event, -error, error ? 0 : message->result);
	kfree(message);
	return error;
}

int kx_messages_start(void)
{
	int error = netlink_register_notifier(&socket_notifier);

	if (error)
		return error;
	error = genl_register_family(&family);
	if (error)
		netlink_unregister_notifier(&socket_notifier);
	return error;
}

void kx_messages_stop(void)
{
	genl_unregister_family(&family);
	netlink_unregister_notifier(&socket_notifier);
}
