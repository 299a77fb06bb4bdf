// The run locks: one maintenance command at a time on a device, and a card that is updated has no other.
#pragma once

#include "channel/device.h"

/// What kxtool_flock_lock returns with the lock taken.
inline constexpr int KXTOOL_LOCK_TAKEN = 2;

/// Takes the lock of the device, waiting up to a minute for another process that holds it. Returns KXTOOL_LOCK_TAKEN,
/// or -1 with a message.
int kxtool_flock_lock(const kxtool_device& device);

/// Takes the lock of the device's card behind that of the device: alone, or beside other commands that share it. False
/// with a line on standard error.
bool kxtool_card_take(const kxtool_device& device, bool alone);
