// SPDX-License-Identifier: GPL-2.0
// The module: the parts come up in order and go down in the opposite one.

#include <linux/module.h>

#include "kx_card.h"

static unsigned long long memory;
module_param(memory, ullong, 0444);
MODULE_PARM_DESC(memory, "start of the memory that memmap= took from the kernel");
static unsigned long long size = 96ull << 20;
module_param(size, ullong, 0444);
MODULE_PARM_DESC(size, "its length, at least 96 MiB");
static bool far_segment;
module_param(far_segment, bool, 0444);
MODULE_PARM_DESC(far_segment, "a second card, behind a host bridge with a segment of five digits");

const struct kx_settings kx_settings_default = {
	.driver_wait_ms = 3000,
	.temperature = 45,
	.authorises = 1,
	.header_ms = 1,
	.erase_ms = 20,
	.read_back_ms = 20,
	.end_ms = 20,
};
struct kx_settings kx_settings;

static int __init kx_card_init(void)
{
	int error;

	if (memory == 0 || size < 96ull << 20) {
		pr_err("kx_card: memory= and size= must name 96 MiB that memmap= took from the kernel\n");
		return -EINVAL;
	}
	kx_settings = kx_settings_default;
	error = kx_control_make();
	if (error)
		return error;
	error = kx_memory_make();
	if (!error)
		error = kx_functions_make(far_segment);
	if (!error)
		error = kx_bus_make(memory, size, far_segment);
	if (!error)
		error = kx_bars_map();
	if (!error)
		error = kx_mailbox_start();
	if (error) {
		kx_bus_free();
		kx_functions_free();
		kx_memory_free();
		kx_control_free();
	}
	return error;
}

static void __exit kx_card_exit(void)
{
	kx_bus_free();
	kx_mailbox_stop();
	kx_update_stop();
	kx_processor_free();
	kx_functions_free();
	kx_memory_free();
	kx_control_free();
}

module_init(kx_card_init);
module_exit(kx_card_exit);
MODULE_DESCRIPTION("A card for a machine without one");
MODULE_LICENSE("GPL");
