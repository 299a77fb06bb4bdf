// The kxvqm module: diagnostics of the card's virtio queue engine.
#pragma once

#include <cstdint>

/// Builds the module's command table and registers it (module id 3); prepares the message channel, without touching a
/// card. Returns 0, or -1 with a message.
int32_t kxvqm_cmd_init();

/// Finds out which register layout the bound card's queue engine has. Returns 0, or -1 with a message when the card's
/// memory cannot be read; a register that really holds all ones is no failure.
int32_t kxvqm_dev_init();
