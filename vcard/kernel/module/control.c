// SPDX-License-Identifier: GPL-2.0
// /proc/kx_card: reading gives the log of requests, a line written sets a setting or does something to the card.

#include <linux/mm.h>
#include <linux/module.h>
#include <linux/proc_fs.h>
#include <linux/seq_file.h>
#include <linux/slab.h>
#include <linux/uaccess.h>
#include <linux/vmalloc.h>

#include "kx_card.h"

#define LOG_SIZE (256u << 10)
#define NAME "kx_card"

static DEFINE_SPINLOCK(log_lock);
static char *log_text;
static size_t log_length;

/* A full log keeps what it has: the first lines tell what happened. */
static void log_append(const char *line, size_t length)
{
	unsigned long flags;

	spin_lock_irqsave(&log_lock, flags);
	if (log_length + length + 1 <= LOG_SIZE) {
		memcpy(log_text + log_length, line, length);
		log_length += length;
		log_text[log_length++] = '\n';
	}
	spin_unlock_irqrestore(&log_lock, flags);
}

static void log_format(const char *format, va_list arguments)
{
	char line[192];
	const int length = vscnprintf(line, sizeof(line), format, arguments);

	log_append(line, length);
}

void kx_log(const char *format, ...)
{
	va_list arguments;

	va_start(arguments, format);
	log_format(format, arguments);
	va_end(arguments);
}

void kx_card_log(const char *format, ...)
{
	va_list arguments;

	va_start(arguments, format);
	log_format(format, arguments);
	va_end(arguments);
}
EXPORT_SYMBOL_GPL(kx_card_log);

void kx_log_bytes(const char *what, const void *bytes, size_t length)
{
	kx_log("%s payload=%*phN", what, (int)min_t(size_t, length, 64), bytes);
}

static int log_show(struct seq_file *file, void *unused)
{
	unsigned long flags;
	char *copy = vmalloc(LOG_SIZE);
	size_t length;

	if (!copy)
		return -ENOMEM;
	spin_lock_irqsave(&log_lock, flags);
	length = log_length;
	memcpy(copy, log_text, length);
	spin_unlock_irqrestore(&log_lock, flags);
	seq_write(file, copy, length);
	vfree(copy);
	return 0;
}

static int log_open(struct inode *inode, struct file *file)
{
	return single_open(file, log_show, NULL);
}

static const struct {
	const char *name;
	u32 *value;
} settings[] = {
	{ "dead", &kx_settings.dead },
	{ "layout_byte", &kx_settings.layout_byte },
	{ "trace_tunnel", &kx_settings.trace_tunnel },
	{ "tunnel_stuck", &kx_settings.tunnel_stuck },
	{ "silent_event", &kx_settings.silent_event },
	{ "driver_wait_ms", &kx_settings.driver_wait_ms },
	{ "temperature", &kx_settings.temperature },
	{ "authorises", &kx_settings.authorises },
	{ "header_ms", &kx_settings.header_ms },
	{ "erase_ms", &kx_settings.erase_ms },
	{ "read_back_ms", &kx_settings.read_back_ms },
	{ "end_ms", &kx_settings.end_ms },
	{ "erase_fails", &kx_settings.erase_fails },
	{ "sum_wrong", &kx_settings.sum_wrong },
	{ "queue_silent", &kx_settings.queue_silent },
};

static int setting_change(const char *name, u64 value)
{
	u32 i;

	for (i = 0; i < ARRAY_SIZE(settings); i++) {
		if (strcmp(name, settings[i].name) == 0 && value <= U32_MAX) {
			WRITE_ONCE(*settings[i].value, value);
			if (settings[i].value == &kx_settings.dead || settings[i].value == &kx_settings.layout_byte)
				kx_bars_fill();
			return 0;
		}
	}
	return -EINVAL;
}

static void log_clear(u64 unused, u64 unused_too)
{
	unsigned long flags;

	spin_lock_irqsave(&log_lock, flags);
	log_length = 0;
	spin_unlock_irqrestore(&log_lock, flags);
}

static void reset(u64 unused, u64 unused_too)
{
	kx_settings = kx_settings_default;
	kx_bars_fill();
	log_clear(0, 0);
}

static void flash_sum(u64 address, u64 length)
{
	length = min_t(u64, length, 1u << 27);
	kx_log("flash_sum offset=0x%llx length=%llu sum=%u", address, length, kx_flash_sum(address, length));
}

static void word_write(u64 address, u64 value)
{
	kx_memory_write(address, value);
}

static const struct {
	const char *name;
	u32 numbers;
	void (*run)(u64 first, u64 second);
} actions[] = {
	{ "clear", 0, log_clear },
	{ "reset", 0, reset },
	{ "flash_sum", 2, flash_sum },
	{ "word", 2, word_write },
};

/* A line is an action with its numbers, or a setting with its value. */
static int line_do(char *line)
{
	const char *name = strsep(&line, " ");
	u64 numbers[2] = {};
	u32 i, count = 0;

	for (; line; count++)
		if (count == ARRAY_SIZE(numbers) || kstrtou64(strsep(&line, " "), 0, &numbers[count]))
			return -EINVAL;
	for (i = 0; i < ARRAY_SIZE(actions); i++) {
		if (strcmp(name, actions[i].name) == 0 && actions[i].numbers == count) {
			actions[i].run(numbers[0], numbers[1]);
			return 0;
		}
	}
	return count == 1 ? setting_change(name, numbers[0]) : -EINVAL;
}

static ssize_t line_write(struct file *file, const char __user *from, size_t length, loff_t *offset)
{
	char *text, *rest, *line;
	int error = 0;

	if (length > 4096)
		return -EINVAL;
	text = memdup_user_nul(from, length);
	if (IS_ERR(text))
		return PTR_ERR(text);
	rest = text;
	while (!error && (line = strsep(&rest, "\n")))
		if (*line)
			error = line_do(line);
	kfree(text);
	return error ? error : length;
}

static const struct proc_ops operations = {
	.proc_open = log_open,
	.proc_read = seq_read,
	.proc_lseek = seq_lseek,
	.proc_release = single_release,
	.proc_write = line_write,
};

int kx_control_make(void)
{
	log_text = vmalloc(LOG_SIZE);
	if (!log_text)
		return -ENOMEM;
	if (!proc_create(NAME, 0600, NULL, &operations)) {
		vfree(log_text);
		return -ENOMEM;
	}
	return 0;
}

void kx_control_free(void)
{
	remove_proc_entry(NAME, NULL);
	vfree(log_text);
}
