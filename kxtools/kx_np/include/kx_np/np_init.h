// The driver's way to the card: registers lie in card memory, reached through the VPD tunnel of the bound function.
#pragma once

#include <cstdint>

/// The driver's number for the bound card; it has one card at a time.
inline constexpr uint32_t KX_NP_DEVICE = 0;

/// Starts the driver with KX_NP_DEVICE behind the tunnel. Returns 0 or -1 with a message. Touches no hardware.
int32_t dpp_np_init();

// Move `count` 32-bit words between `buf` and the register space, from byte `offset` on. 0; 0x1201 for a null pointer;
// 1 with a line when a word cannot be moved.
uint32_t dpp_dev_pcie_vpd_read(uint32_t dev_id, uint32_t offset, uint32_t count, uint32_t* buf);
uint32_t dpp_dev_pcie_vpd_write(uint32_t dev_id, uint32_t offset, uint32_t count, const uint32_t* buf);
