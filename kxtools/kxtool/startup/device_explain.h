// Why a device is refused and what to take in its place: lines on standard error behind the checks of device_check.h.
#pragma once

#include "channel/device.h"

/// Behind kxtool_not_kelpf_intercept: a function of another kind, a virtual function, or one that has gone.
void kxtool_device_explain(const kxtool_device& device);

/// Behind a device word that the command `name` cannot use because it is a PCI address.
void kxtool_address_explain(const kxtool_device& device, const char* name);
