// Locks of the mailbox: one sender at a time on a channel.
#pragma once

#include <cstdint>

#include "common/mmio.h"

inline constexpr uint32_t BAR_LOCK_NUM = 1120;

/// Index into the process-local locks, below BAR_LOCK_NUM.
uint32_t bar_process_lock_id(uint16_t pcie_id, uint16_t dst);
/// Number of a hardware spin lock.
uint32_t bar_hardware_lock_id(uint16_t pcie_id, uint16_t dst);

/// Takes and gives back the lock of a channel, of the kind that the routing tables ask for. Return 0, 2 for endpoints
/// without a channel, or -1 when the hardware lock was not granted.
int32_t bar_chan_lock(uint16_t src, uint16_t dst, uint16_t pcie_id, const kx_mmio_region& area);
int32_t bar_chan_unlock(uint16_t src, uint16_t dst, uint16_t pcie_id, const kx_mmio_region& area);

/// Takes a hardware spin lock: one byte a lock in `spin`, which reads 0 once and grants the lock by that, and a 16-bit
/// label of its owner in `label`. Waits up to 0.2 s. Returns 0 or -1.
int32_t bar_hardware_lock(uint32_t lock_id, const kx_mmio_region& spin, const kx_mmio_region& label, uint16_t owner);
void bar_hardware_unlock(uint32_t lock_id, const kx_mmio_region& spin, const kx_mmio_region& label);
