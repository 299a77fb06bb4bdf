// The run lock: one maintenance command at a time on a device.
#pragma once

#include "channel/device.h"

/// What kxtool_flock_lock returns with the lock taken.
inline constexpr int KXTOOL_LOCK_TAKEN = 2;

/// Takes the lock of the device, waiting up to a minute for another process that holds it. Returns KXTOOL_LOCK_TAKEN,
/// or -1 with a message.
int kxtool_flock_lock(const kxtool_device& device);
