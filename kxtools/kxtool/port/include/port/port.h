// The host's side of the card's network ports: handlers of the command table.
#pragma once

#include "startup/cmd_ctx.h"

/// "dump_eth_info": lists the network interfaces of all cards of this host, from sysfs. No card is touched.
int kxtool_dump_eth_info(kxtool_cmd_ctx* ctx);
extern const char kxtool_dump_eth_info_usage[];

/// "link <device> -m": identity and monitors of the module in the port, read by the interface's driver. 1 when there is
/// no module, or its EEPROM is short, unknown or fails its sums.
int kxtool_link(kxtool_cmd_ctx* ctx);
extern const char kxtool_link_usage[];
