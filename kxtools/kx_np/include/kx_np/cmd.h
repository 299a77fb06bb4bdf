// kxnp: a thin bridge from the command tree to the network-processor driver's table of named functions.
#pragma once

#include <cstdint>

struct kxtools_cmd_context;

/// Starts the driver and registers the commands of the driver's list. Touches no hardware. Returns 0, or -1 with a
/// message; then the module has no commands.
int32_t kxnp_cmd_init();

/// After every bind: tells the driver which PCIe function device 0 is. Returns 0 or -1 with a message.
int32_t kxnp_dev_init();

/// Handler of every command but mcode_drop_stat: calls the driver's function of the same name with up to 12 integers,
/// or with all words as one text of at most 199 characters. The function's own result never reaches the exit status.
/// Returns 0, or -1 with a message for a null context, a name that the driver lacks or a null word list.
int32_t kxnp_dpp_cmd_exec(kxtools_cmd_context* ctx);

/// Handler of mcode_drop_stat (dev_id, mode, version): prints why the micro-code dropped packets. Returns 0 or the
/// driver's code of what failed.
int32_t kxnp_mcode_drop_stat(kxtools_cmd_context* ctx);
