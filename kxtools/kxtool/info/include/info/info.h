// Card information and VF policy: handlers of the command table, for a device given by interface name. Each makes its
// exchange, prints one result and returns the exit status, 0 or 1.
#pragma once

#include "startup/cmd_ctx.h"

int kxtool_sn_get(kxtool_cmd_ctx* ctx);
extern const char kxtool_sn_info_usage[];
int kxtool_mac_addr_get(kxtool_cmd_ctx* ctx);
extern const char kxtool_mac_info_usage[];
int kxtool_temp_get(kxtool_cmd_ctx* ctx);
extern const char kxtool_temp_info_usage[];
int kxtool_set_vf_status(kxtool_cmd_ctx* ctx);
extern const char kxtool_set_vf_status_usage[];
