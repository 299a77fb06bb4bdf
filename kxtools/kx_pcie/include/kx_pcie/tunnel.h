// Card memory without a driver: 32-bit words of the card's internal address space, read and written through a tunnel
// over the VPD capability of the bound function. Slow by design: every access is two transfers of at least 10 us each,
// four in secure mode. Tool processes exclude each other through one lock file around each access.
#pragma once

#include <cstdint>

#include "device/address.h"

inline constexpr int32_t PCIE_TUNNEL_BUSY = -2;  ///< the channel was busy; the operation may be retried

/// The bound function, to which all these accesses go; KXTOOLS_SBDF_NONE at start.
kxtools_sbdf pcie_bound_sbdf_get();
void pcie_bound_sbdf_set(kxtools_sbdf sbdf);

/// One 32-bit word of card memory of the bound function. Return 0, -1 with a message, or PCIE_TUNNEL_BUSY with a
/// message. The output is written only on success: a word that really holds all ones comes back with 0.
/// In access mode 0 (and in every mode but 1 for writes) the address must be a multiple of 4, below 2^44 and in no
/// forbidden range.
int32_t read_val_from_kx(uint64_t address, uint32_t* value);
int32_t write_val_to_kx(uint64_t address, uint32_t value);

/// Replaces the bits under `mask` of a word by those of `value`: a read and a write under one lock. Returns as above.
int32_t write_mask_to_kx(uint64_t address, uint32_t value, uint32_t mask);

/// Access mode, 0 to 3 (0 at start); it travels in the command that sets the card address. Returns 0, or -1 with a
/// message for another value.
int32_t set_wr_mode(uint32_t mode);
uint32_t get_wr_mode();

/// Secure mode, 0 at start: when 1, every transfer first checks that the channel is free, and every access begins with
/// the status exchange and ends by reading the status.
void set_secure_mode(uint32_t mode);
uint32_t get_secure_mode();

// The steps of an access, for callers that hold the lock file (pcie_lock.h).

/// Command word of a transfer: the flag in bit 31, the VPD address (15 bits) above bit 16.
constexpr uint32_t struct_vpd_kx_addr(uint32_t flag, uint32_t vpd_address) {
  return (flag & 1) << 31 | (vpd_address & 0x7FFF) << 16;
}

/// One transfer: writes `*data` and the command word, waits until the card toggles the flag, reads `*data` back. It is
/// repeated, for a tenth of a second at most, when another program has used the capability meanwhile.
/// Returns 0, -1 with a message (no VPD capability, configuration access failed, no answer after 20,001 polls) or
/// PCIE_TUNNEL_BUSY with a message (another program, or in secure mode the card's own users of the channel).
int32_t vpd_tracsport_once(kxtools_sbdf sbdf, uint32_t command, uint32_t* data);

/// Reads the tunnel status and resets the tunnel unless the last access succeeded. Returns as vpd_tracsport_once.
int32_t pcie_tunnel_status_exchange(kxtools_sbdf sbdf);
