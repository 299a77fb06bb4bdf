// The kxbttl module: state and configuration of the card's packet-engine blocks, the packet interface DXGE, the buffer
// manager, the queue manager and the large-receive-offload block.
#pragma once

#include <cstdint>

/// Registers the module's commands (module id 5). Returns 0 or -1.
int32_t kxbttl_cmd_init();
