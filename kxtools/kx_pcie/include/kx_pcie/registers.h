// Registers of configuration space as the PCI Express standard has them: the one place for its numbers and names. The
// system's header brings most of the numbers; what it lacks, or has only in newer versions, stands here.
#pragma once

#include <linux/pci_regs.h>

#include <cstdint>
#include <span>

inline constexpr uint32_t PCIE_CFG_SIZE = 4096;  ///< bytes of configuration space; no access reaches beyond

// Extended capabilities.
inline constexpr uint16_t PCIE_ECAP_PHYSICAL_16GT = 0x26;
inline constexpr uint16_t PCIE_ECAP_MARGINING = 0x27;
inline constexpr uint16_t PCIE_ECAP_PHYSICAL_32GT = 0x2A;

// MSI: message data of 32 bits in place of 16.
inline constexpr uint16_t PCIE_MSI_EXTENDED_DATA_ENABLED = 1u << 10;

// Link control 2: the link does not change its speed by itself.
inline constexpr uint16_t PCIE_LINK_CONTROL_2_NO_SPEED_CHANGE = 1u << 5;

// Speeds of a link by their number in the link registers.
inline constexpr uint32_t PCIE_SPEED_8GT = 3;
inline constexpr uint32_t PCIE_SPEED_16GT = 4;
inline constexpr uint32_t PCIE_SPEED_32GT = 5;
inline constexpr uint32_t PCIE_SPEEDS = 7;  ///< with 0, which is none

/// A bit of a register and its name in the standard.
struct pcie_bit {
  uint8_t bit;
  const char* name;
};

/// All named bits.
constexpr uint32_t pcie_bits_mask(std::span<const pcie_bit> bits) {
  uint32_t mask = 0;
  for (const pcie_bit& row : bits) {
    mask |= 1u << row.bit;
  }
  return mask;
}

inline constexpr pcie_bit PCIE_UNCORRECTABLE_ERRORS[] = {
    {4, "Data Link Protocol Error"},
    {5, "Surprise Down Error"},
    {12, "Poisoned TLP Received"},
    {13, "Flow Control Protocol Error"},
    {14, "Completion Timeout"},
    {15, "Completer Abort"},
    {16, "Unexpected Completion"},
    {17, "Receiver Overflow"},
    {18, "Malformed TLP"},
    {19, "ECRC Error"},
    {20, "Unsupported Request Error"},
    {21, "ACS Violation"},
    {22, "Uncorrectable Internal Error"},
    {23, "MC Blocked TLP"},
    {24, "AtomicOp Egress Blocked"},
    {25, "TLP Prefix Blocked Error"},
    {26, "Poisoned TLP Egress Blocked"},
    {27, "DMWr Request Egress Blocked"},
    {28, "IDE Check Failed"},
    {29, "Misrouted IDE TLP"},
    {30, "PCRC Check Failed"},
    {31, "TLP Translation Egress Blocked"},
};

inline constexpr pcie_bit PCIE_CORRECTABLE_ERRORS[] = {
    {0, "Receiver Error"},
    {6, "Bad TLP"},
    {7, "Bad DLLP"},
    {8, "REPLAY_NUM Rollover"},
    {12, "Replay Timer Timeout"},
    {13, "Advisory Non-Fatal Error"},
    {14, "Corrected Internal Error"},
    {15, "Header Log Overflow"},
};

/// Of the device status; cleared by writing 1.
inline constexpr pcie_bit PCIE_DEVICE_ERRORS[] = {
    {0, "Correctable Error Detected"},
    {1, "Non-Fatal Error Detected"},
    {2, "Fatal Error Detected"},
    {3, "Unsupported Request Detected"},
};

/// Whether `dword` is what a function reads as that has left the bus. The identity of a virtual function reads so too,
/// but no command and status register and no header of a capability.
constexpr bool pcie_is_silence(uint32_t dword) {
  return dword == 0xFFFFFFFF;
}

/// Speed and lanes in the link capabilities and in the link status; no lanes when the link is down.
constexpr uint32_t pcie_link_speed(uint32_t link_register) {
  return link_register & PCI_EXP_LNKSTA_CLS;
}
constexpr uint32_t pcie_link_width(uint32_t link_register) {
  return (link_register & PCI_EXP_LNKSTA_NLW) >> PCI_EXP_LNKSTA_NLW_SHIFT;
}

inline constexpr uint32_t PCIE_LANES_MAX = 32;

/// "16.0 GT/s"; "unknown speed" for a number that the standard does not assign.
const char* pcie_speed_text(uint32_t speed);

/// Name of a capability, "unknown" for an id that the standard does not assign.
const char* pcie_capability_name(bool extended, uint16_t id);
