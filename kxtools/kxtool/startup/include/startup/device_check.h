// Which devices the maintenance commands work on: the card's own physical functions, awake.
#pragma once

#include "channel/device.h"

/// Finds the PCI address of the device word and stores it in `device`. Returns 0, or -1 with a message.
int kxtool_nic_bdf_get(kxtool_device* device);

/// 1 when the function is a physical function of a supported card, else 0.
int kxtool_devname_is_kelpf(const kxtool_device& device);

/// 0 when the device word names one of the card's physical functions, else -1; only the look-ups print.
int kxtool_not_kelpf_intercept(kxtool_device* device);

/// 0 when the function is awake, else -1 with a message.
int check_pcie_power_state(const kxtool_device& device);
