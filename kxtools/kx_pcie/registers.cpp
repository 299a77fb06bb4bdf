#include "kx_pcie/registers.h"

#include <iterator>

namespace {

constexpr const char* SPEEDS[PCIE_SPEEDS] = {"no link",   "2.5 GT/s",  "5.0 GT/s", "8.0 GT/s",
                                             "16.0 GT/s", "32.0 GT/s", "64.0 GT/s"};

constexpr const char* NAMES[] = {
    "Null",
    "Power Management",
    "Accelerated Graphics Port",
    "Vital Product Data",
    "Slot Identification",
    "Message Signaled Interrupts",
    "CompactPCI Hot Swap",
    "PCI-X",
    "HyperTransport",
    "Vendor-Specific",
    "Debug Port",
    "CompactPCI Resource Control",
    "Hot-Plug",
    "Bridge Subsystem Vendor",
    "Accelerated Graphics Port 8x",
    "Secure Device",
    "PCI Express",
    "MSI-X",
    "SATA Data/Index",
    "Advanced Features",
    "Enhanced Allocation",
    "Flattening Portal Bridge",
};

constexpr const char* EXTENDED_NAMES[] = {
    "Null",
    "Advanced Error Reporting",
    "Virtual Channel",
    "Device Serial Number",
    "Power Budgeting",
    "Root Complex Link Declaration",
    "Root Complex Internal Link Control",
    "Root Complex Event Collector",
    "Multi-Function Virtual Channel",
    "Virtual Channel with MFVC",
    "Root Complex Register Block",
    "Vendor-Specific",
    "Configuration Access Correlation",
    "Access Control Services",
    "Alternative Routing-ID Interpretation",
    "Address Translation Services",
    "Single Root I/O Virtualization",
    "Multi-Root I/O Virtualization",
    "Multicast",
    "Page Request Interface",
    "Reserved",
    "Resizable BAR",
    "Dynamic Power Allocation",
    "TPH Requester",
    "Latency Tolerance Reporting",
    "Secondary PCI Express",
    "Protocol Multiplexing",
    "Process Address Space ID",
    "LN Requester",
    "Downstream Port Containment",
    "L1 PM Substates",
    "Precision Time Measurement",
    "M-PCIe",
    "FRS Queueing",
    "Readiness Time Reporting",
    "Designated Vendor-Specific",
    "VF Resizable BAR",
    "Data Link Feature",
    "Physical Layer 16.0 GT/s",
    "Lane Margining at the Receiver",
    "Hierarchy ID",
    "Native PCIe Enclosure Management",
    "Physical Layer 32.0 GT/s",
    "Alternate Protocol",
    "System Firmware Intermediary",
    "Shadow Functions",
    "Data Object Exchange",
    "Device 3",
    "Integrity and Data Encryption",
    "Physical Layer 64.0 GT/s",
};

}  // namespace

const char* pcie_speed_text(uint32_t speed) {
  return speed < PCIE_SPEEDS ? SPEEDS[speed] : "unknown speed";
}

const char* pcie_capability_name(bool extended, uint16_t id) {
  const size_t count = extended ? std::size(EXTENDED_NAMES) : std::size(NAMES);
  return id >= count ? "unknown" : extended ? EXTENDED_NAMES[id] : NAMES[id];
}
