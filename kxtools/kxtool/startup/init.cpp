#include "startup/init.h"

#include <sys/prctl.h>

#include <cstdio>
#include <cstring>

#include "common/report.h"
#include "common/text.h"
#include "device_explain.h"
#include "startup/device_check.h"
#include "startup/exit.h"
#include "startup/run_lock.h"
#include "startup/silence.h"

namespace {

bool is_help_word(const char* word) {
  return strcmp(word, "-h") == 0 || strcmp(word, "--help") == 0;
}

// True when `word` is one of the aliases in `names`, which '|' separates.
bool has_alias(const char* names, const char* word) {
  const size_t length = strlen(word);
  while (true) {
    const size_t alias_length = strcspn(names, "|");
    if (alias_length == length && strncmp(names, word, length) == 0) {
      return true;
    }
    if (names[alias_length] == '\0') {
      return false;
    }
    names += alias_length + 1;
  }
}

// Who waits for this process reads its title: the child of a shell has no words of its own.
void process_title_set(const char* name) {
  char title[16];  // the kernel keeps no more
  snprintf(title, sizeof title, "kxtool %s", name);
  prctl(PR_SET_NAME, title);
}

// Takes the row, the device word and the words after it from the command line; ends the process on bad words.
void words_take(const kxtool_option_list& list, uint32_t count, char** words, kxtool_cmd_ctx* ctx) {
  if (count < 2) {
    exit_bad_args();
  }
  const int32_t index = kxtool_option_index_get(list, words[1]);
  if (index < 0) {
    exit_bad_args();
  }
  ctx->option = &list.rows[index];
  ctx->name = words[1];
  process_title_set(ctx->name);
  ctx->argc = count - 2;
  ctx->argv = words + 2;
  if (ctx->argc == 1 && is_help_word(ctx->argv[0])) {
    kxtool_opts_show_usage(list, *ctx->option);
    kxtool_exit(0);
  }
  if (ctx->option->no_device) {
    return;
  }
  if (ctx->argc == 0) {
    exit_bad_args(kx_text("kxtool: %s needs a device behind it: '%s -h' shows its words\n", ctx->name, ctx->name));
  }
  ctx->device_word = ctx->argv[0];
  ctx->device.name = ctx->device_word;
  --ctx->argc;
  ++ctx->argv;
}

// The device is one of ours, is not in use by another tool, is awake and reachable by this command; else the process
// ends.
void device_acquire(kxtool_cmd_ctx* ctx) {
  kxtool_device& device = ctx->device;
  switch (kxtool_bdf_or_nic_type(ctx->device_word)) {
    case KXTOOL_ACCESS_NIC:
      device.wire = &kxtool_driver_wire;
      device.interface = ctx->device_word;
      break;
    case KXTOOL_ACCESS_BDF:
      device.wire = &kxtool_mailbox_wire;
      break;
    case KXTOOL_ACCESS_NONE:
      break;
  }
  if (device.wire == nullptr) {
    KXTOOLS_ERR("'%s' is not a devname or domain:bus:device:function format!\n", ctx->device_word);
    kxtool_exit(1);
  }
  if (kxtool_not_kelpf_intercept(&device) != 0) {
    kxtool_device_explain(device);
    kxtool_exit(1);
  }
  const bool mailbox = device.wire->is_exclusive && ctx->option->by_bdf;
  const bool alone = mailbox || (ctx->option->card_alone && !ctx->card_shared);
  if (kxtool_flock_lock(device) != KXTOOL_LOCK_TAKEN || !kxtool_card_take(device, alone)) {
    kx_error_print("kxtool: %s was not run: the lock of %s cannot be had\n", ctx->name, ctx->device_word);
    kxtool_exit(1);
  }
  if (check_pcie_power_state(device) != 0) {
    kx_error_print("kxtool: %s was not run: %s sleeps, or does not tell whether it does\n", ctx->name,
                   device.sbdf_text);
    kxtool_exit(1);
  }
  if (device.interface == nullptr && !ctx->option->by_bdf) {
    KXTOOLS_ERR("The command does not yet support BDF type!\n");
    kxtool_address_explain(device, ctx->name);
    kxtool_exit(1);
  }
}

}  // namespace

int32_t kxtool_option_index_get(const kxtool_option_list& list, const char* word) {
  for (uint32_t i = 1; i < list.count && list.rows[i].names != nullptr; ++i) {
    if (has_alias(list.rows[i].names, word)) {
      return static_cast<int32_t>(i);
    }
  }
  return -1;
}

void kxtool_opts_show_usage(const kxtool_option_list& list, const kxtool_option& row) {
  kx_print("%s\n", row.usage != nullptr ? row.usage : list.rows[0].usage);
  if (row.usage_aside != nullptr) {
    kx_error_print("%s\n", row.usage_aside);
  }
}

void kxtool_init(const kxtool_option_list& list, uint32_t count, char** words) {
  // Lives as long as the process: this function does not return, and the receive thread uses the device record.
  kxtool_cmd_ctx ctx;
  kxtool_cmd_ctx_set(&ctx);
  words_take(list, count, words, &ctx);
  const kxtool_option& option = *ctx.option;
  const int words_status = option.words_check == nullptr ? 0 : option.words_check(&ctx);
  if (words_status != 0) {
    kxtool_exit(words_status);
  }
  if (!option.no_device) {
    kxtool_create_timer_5s();  // a command works without it: a failure is only reported
    device_acquire(&ctx);
  }
  if (option.handler == nullptr) {
    KXTOOLS_ERR("'%s' is not available in this build: it lacks the card's protocol for it\n", ctx.name);
    if (option.instead != nullptr) {
      kx_error_print("kxtool: in place of %s: %s\n", ctx.name, option.instead);
    }
    kxtool_exit(1);
  }
  if (ctx.device.wire != nullptr && !ctx.device.wire->open(&ctx.device)) {
    kxtool_exit(1);
  }
  kxtool_exit(option.handler(&ctx));
}
