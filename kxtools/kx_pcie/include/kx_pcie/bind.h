// Binding the PCIe module to a function, and the list from which a user picks it.
#pragma once

#include <cstdint>

#include "device/address.h"

/// Binds a supported function for which the process-wide device record is already filled: leaves the tunnel of the
/// function bound before in order, and checks that the card's firmware offers the interface of this module. Returns 0,
/// or -1 with a message; the function bound before then stays bound.
int32_t bind_pcie_dev_by_sbdf(kxtools_sbdf sbdf);

/// Scans the PCI devices and prints the card's switches and physical functions, these with an index each, from 0.
/// Returns 0, or -1 with a message when the devices cannot be scanned.
int32_t bind_pcie_dev_help();

/// The function to which the list printed last gave `index`; without a printed list the devices are scanned. Returns
/// 0, or -1 when no function has the index.
int32_t get_sbdf_by_node_id(uint32_t index, kxtools_sbdf* sbdf);
