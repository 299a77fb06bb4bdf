// The card's PCI functions as a scan of the kernel's device directory finds them.
#pragma once

#include <cstdint>
#include <vector>

#include "device/address.h"

/// One of the card's switches.
struct pcie_switch_node {
  kxtools_sbdf sbdf;
  uint32_t vendor;
  uint32_t device;
  uint32_t class_code;    ///< 24 bits
  uint8_t secondary_bus;  ///< the buses below it, inclusive; both 0 when it is no bridge
  uint8_t subordinate_bus;
};

/// A physical function of a supported kind.
struct pcie_function_node {
  kxtools_sbdf sbdf;
  uint32_t vendor;
  uint32_t device;
  uint32_t class_code;  ///< 24 bits
  uint32_t vf_device;   ///< device identifier of its virtual functions
};

/// Both lists ascend by address. The index that a user gives is the position in `functions`.
struct pcie_device_list {
  std::vector<pcie_switch_node> switches;
  std::vector<pcie_function_node> functions;
};

/// Visits every entry of the device directory; unreadable ones are skipped. Returns 0, or -1 with a message when the
/// scan could not be finished.
int32_t pcie_device_list_scan(pcie_device_list* list);

/// Prints the switches, each with the functions on the buses below it, and then the functions below no switch.
void pcie_device_list_print(const pcie_device_list& list);
