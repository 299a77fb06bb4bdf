// Configuration space of a PCI function, through the kernel's per-function "config" file: dwords, capabilities, BARs.
// The file is opened and closed on every access, so a function that disappears is noticed at the next one; for reading,
// it need not be writable. Every failure prints one line.
#pragma once

#include <cstdint>

#include "device/address.h"
#include "kx_pcie/registers.h"

/// Reads or writes `length` bytes at `offset`. A transfer that the kernel cuts short counts as success and leaves the
/// rest of `buffer` untouched. Returns 0, or -1 with a message, also when the bytes do not lie in configuration space.
int32_t pcie_cfg_rw(kxtools_sbdf sbdf, bool write, uint32_t offset, uint32_t length, void* buffer);

/// The same in one direction. Return 0, or -1 with a message; a null buffer is refused.
int32_t pcie_cfg_read(kxtools_sbdf sbdf, uint32_t offset, uint32_t length, void* buffer);
int32_t pcie_cfg_write(kxtools_sbdf sbdf, uint32_t offset, uint32_t length, const void* buffer);

/// One dword in the host's byte order. A read that the kernel cuts short gives all ones in the missing bytes, as the
/// bus does. Return 0, or -1 with a message.
int32_t pcie_cfg_read_dword(kxtools_sbdf sbdf, uint32_t offset, uint32_t* value);
int32_t pcie_cfg_write_dword(kxtools_sbdf sbdf, uint32_t offset, uint32_t value);

/// Replaces the bits under `mask` of the dword at `offset` by those of `value`. Returns 0 or -1.
int32_t pcie_cfg_write_mask(kxtools_sbdf sbdf, uint32_t offset, uint32_t value, uint32_t mask);

/// Whether the function answers at all, by the dword of command and status: no function has all ones there, while the
/// identity of a virtual function reads so. Returns 0, or -1 with a message, and then it does not.
int32_t pcie_function_answers(kxtools_sbdf sbdf, bool* answers);

/// Offset of the capability with that id, or -1 with a message. A list that loops or leads out of its range ends like
/// one without the id.
int32_t pcie_find_capability(kxtools_sbdf sbdf, uint8_t id);

/// Offset of the extended capability with that id, or -1 without a message. For id 11 (vendor-specific) the low 16
/// bits of the next dword must equal `vsec_id` too; other ids do not look at it.
int32_t pcie_find_ext_capability(kxtools_sbdf sbdf, uint16_t id, uint16_t vsec_id);

/// The 64-bit BAR whose lower half lies at `offset`, without its four flag bits; 0 after a failure with a message.
uint64_t get_bar_addr(kxtools_sbdf sbdf, uint32_t offset);

/// Size in bytes of the 64-bit BAR at `offset`, probed with all ones; 0 for a BAR that decodes nothing and after a
/// failure with a message. The saved dwords are written back on every path. The function must be idle: it does not
/// answer at its BAR during the probe.
uint64_t get_bar_size(kxtools_sbdf sbdf, uint32_t offset);
