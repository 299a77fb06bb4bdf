// Error bits and their registers, as the standard names them.
#pragma once

#include "bits.h"

// Advanced Error Reporting, from its capability.
inline constexpr uint32_t AER_UNCORRECTABLE_STATUS = 0x04;
inline constexpr uint32_t AER_UNCORRECTABLE_MASK = 0x08;
inline constexpr uint32_t AER_SEVERITY = 0x0C;
inline constexpr uint32_t AER_CORRECTABLE_STATUS = 0x10;
inline constexpr uint32_t AER_CORRECTABLE_MASK = 0x14;
inline constexpr uint32_t AER_CONTROL = 0x18;
inline constexpr uint32_t AER_HEADER_LOG = 0x1C;
inline constexpr uint32_t AER_DWORDS = 11;  ///< up to the end of the header log

inline constexpr kxpcie_bit AER_UNCORRECTABLE[] = {
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

inline constexpr kxpcie_bit AER_CORRECTABLE[] = {
    {0, "Receiver Error"},
    {6, "Bad TLP"},
    {7, "Bad DLLP"},
    {8, "REPLAY_NUM Rollover"},
    {12, "Replay Timer Timeout"},
    {13, "Advisory Non-Fatal Error"},
    {14, "Corrected Internal Error"},
    {15, "Header Log Overflow"},
};

// Device registers of the PCI Express capability, from its offset.
inline constexpr uint32_t DEVICE_CAPABILITIES = 0x04;
inline constexpr uint32_t DEVICE_CONTROL = 0x08;
inline constexpr uint32_t DEVICE_STATUS = 0x0A;

/// Cleared by writing 1.
inline constexpr kxpcie_bit DEVICE_ERRORS[] = {
    {0, "Correctable Error Detected"},
    {1, "Non-Fatal Error Detected"},
    {2, "Fatal Error Detected"},
    {3, "Unsupported Request Detected"},
};
