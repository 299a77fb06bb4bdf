// kxpcie: the card's PCI Express side, examined along the standard that every function follows.
#pragma once

#include <cstdint>

/// Registers the 31 commands as module 2. Returns 0 or -1.
int32_t kxpcie_cmd_init();
