// Binding: the function that the shell and the modules work on.
#pragma once

#include "device/address.h"

/// Binds a function process-wide: record and BAR 0, prompt, PCIe module. Returns 0 or -1 with a message.
int32_t kxtools_dev_bind(kxtools_sbdf sbdf);
/// Binds by name, or with a null name lets the user choose from the device list; `quit` is set when the user chose
/// none. Returns 0 or -1. End of input at the choice ends the process with status 1.
int32_t kxtools_dev_init(const char* name, bool* quit);
