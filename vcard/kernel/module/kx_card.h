/* SPDX-License-Identifier: GPL-2.0 */
/*
 * A card for a real kernel: what its parts know of each other. The card's driver sees kx_card_driver.h only.
 *
 * Locks: the kernel serialises configuration accesses, and with them the tunnel and everything behind it, with a lock
 * that must not be slept under; kx_memory_lock guards card memory against the others. The management processor has a
 * mutex of its own.
 */
#pragma once

#include <linux/pci.h>
#include <linux/spinlock.h>
#include <linux/types.h>

#include "kx_card_driver.h"

#define KX_CONFIG_SIZE 4096
#define KX_VF_COUNT 8
#define KX_VF_OFFSET 8
#define KX_BAR_SIZE (16u << 20)
#define KX_VF_BAR_SIZE (1u << 20)
#define KX_FOREIGN_BAR_SIZE (64u << 10)

/* Where the capabilities lie. */
#define KX_POWER 0x40
#define KX_MSIX 0x50
#define KX_EXPRESS 0x60
#define KX_VPD 0xb0
#define KX_AER 0x100
#define KX_SRIOV 0x180

enum kx_kind { KX_ROOT_PORT, KX_SWITCH_UP, KX_SWITCH_DOWN, KX_PHYSICAL, KX_VIRTUAL, KX_FOREIGN };

struct kx_function {
	struct list_head node;
	enum kx_kind kind;
	int domain;
	u8 bus;
	u8 devfn;
	struct kx_function *owner; /* of a virtual function: its physical one */
	unsigned int index; /* of a virtual function: which of its owner's */
	void __iomem *bar;
	/* The tunnel: the address that was set, and whether the last access succeeded. */
	u64 tunnel_address;
	u32 tunnel_status;
	u8 config[KX_CONFIG_SIZE];
	u8 writable[KX_CONFIG_SIZE]; /* bits that a write changes */
	u8 clears[KX_CONFIG_SIZE]; /* bits that a one clears */
};

/* Everything that can be set from outside, by name; see control.c. */
struct kx_settings {
	u32 dead;
	u32 layout_byte;
	u32 trace_tunnel;
	u32 tunnel_stuck; /* so many transfers get no answer */
	u32 silent_event; /* requests of this event are not answered; 0: all are */
	u32 driver_wait_ms;
	u32 temperature;
	u32 authorises;
	u32 header_ms;
	u32 erase_ms;
	u32 read_back_ms;
	u32 end_ms;
	u32 erase_fails;
	u32 sum_wrong;
	u32 queue_silent;
};
extern struct kx_settings kx_settings;
extern const struct kx_settings kx_settings_default;

extern struct list_head kx_functions;

/* functions.c */
int kx_functions_make(bool far_segment);
void kx_functions_free(void);
struct kx_function *kx_function_find(int domain, u8 bus, u8 devfn);
void kx_bars_fill(void);
int kx_bars_map(void);

/* bus.c */
int kx_bus_make(u64 memory, u64 size, bool far_segment);
void kx_bus_free(void);

/* config.c */
extern struct pci_ops kx_pci_ops;
u32 kx_config_get(const struct kx_function *function, int where, int size);
void kx_config_put(struct kx_function *function, int where, int size, u32 value);

/* tunnel.c */
void kx_tunnel_written(struct kx_function *function);

/* memory.c: addresses of at most 44 bits are the card's, what the network processor's windows hide lies above. */
extern spinlock_t kx_memory_lock;
#define KX_ERAM (1ull << 48)
#define KX_DDR (1ull << 49)
#define KX_ZCAM (1ull << 50)
#define KX_ZREG (1ull << 51)
#define KX_ETCAM (1ull << 52)
#define KX_OTHER (1ull << 53)
#define KX_NP 0x6218000000ull
#define KX_NP_SIZE 0x2001000ull
int kx_memory_make(void);
void kx_memory_free(void);
u32 kx_word(u64 address);
void kx_word_set(u64 address, u32 value);
u32 kx_memory_read(u64 address);
void kx_memory_write(u64 address, u32 value);

/* np_windows.c, np_queues.c */
void kx_np_reset(void);
bool kx_window_run(u32 offset, u32 command);
void kx_eram_read(u32 bits, u32 index, u32 entry[4]);
void kx_eram_write(u32 bits, u32 index, const u32 entry[4]);
void kx_doorbell(u32 queue);

/* mailbox.c */
int kx_mailbox_start(void);
void kx_mailbox_stop(void);

/* processor.c, update.c */
#define KX_EVENT_UPDATE 27
#define KX_EVENT_BAR_OFFSET 33
#define KX_EVENT_GENERAL 39
#define KX_PAYLOAD_MAX 2036
/* Channel results: nobody listens to the request, or the card keeps silent. */
#define KX_NOBODY_LISTENS 18
#define KX_SILENT (-1000)
struct kx_reply {
	size_t length;
	u8 bytes[KX_PAYLOAD_MAX];
};
int kx_processor_handle(u16 event, const u8 *request, size_t length, struct kx_reply *reply);
void kx_notify(const void *payload, size_t length);
void kx_notices_deliver(void);
void kx_processor_free(void);
int kx_update_handle(const u8 *request, size_t length, struct kx_reply *reply);
void kx_update_stop(void);
u32 kx_flash_sum(u64 address, u64 length);

/* control.c */
int kx_control_make(void);
void kx_control_free(void);
__printf(1, 2) void kx_log(const char *format, ...);
void kx_log_bytes(const char *what, const void *bytes, size_t length);
