// The function's capabilities: where they lie and what they are called.
#pragma once

#include <cstdint>
#include <vector>

#include "kxtools/dev.h"

inline constexpr uint8_t PCI_CAP_ID_PM = 0x01;
inline constexpr uint8_t PCI_CAP_ID_MSI = 0x05;
inline constexpr uint8_t PCI_CAP_ID_EXPRESS = 0x10;
inline constexpr uint8_t PCI_CAP_ID_MSIX = 0x11;

inline constexpr uint16_t PCI_ECAP_ID_AER = 0x01;
inline constexpr uint16_t PCI_ECAP_ID_ARI = 0x0E;
inline constexpr uint16_t PCI_ECAP_ID_ATS = 0x0F;
inline constexpr uint16_t PCI_ECAP_ID_PRI = 0x13;
inline constexpr uint16_t PCI_ECAP_ID_SECONDARY = 0x19;
inline constexpr uint16_t PCI_ECAP_ID_PASID = 0x1B;
inline constexpr uint16_t PCI_ECAP_ID_PHYSICAL_16GT = 0x26;
inline constexpr uint16_t PCI_ECAP_ID_MARGINING = 0x27;
inline constexpr uint16_t PCI_ECAP_ID_PHYSICAL_32GT = 0x2A;

struct kxpcie_capability {
  uint16_t id;
  uint8_t version;  ///< of an extended capability
  uint16_t offset;
};

/// Name of a capability as the standard has it, "unknown" for an id that it does not assign.
const char* kxpcie_capability_name(bool extended, uint16_t id);

/// All capabilities in the order of the chain, which ends at the latest where the space could hold no more. Returns 0,
/// or -1 with a message.
int32_t kxpcie_capabilities_read(kxtools_sbdf sbdf, bool extended, std::vector<kxpcie_capability>* list);

/// Offset of the first capability with that id. `found` is false when there is none. Returns 0, or -1 with a message.
int32_t kxpcie_capability_look(kxtools_sbdf sbdf, bool extended, uint16_t id, bool* found, uint32_t* offset);
/// The same for a capability that the command cannot do without: its absence is a failure with a message.
int32_t kxpcie_capability_find(kxtools_sbdf sbdf, bool extended, uint16_t id, uint32_t* offset);

/// Reads `count` dwords from `offset` on. Returns 0, or -1 with a message, also where the space ends before.
int32_t kxpcie_dwords_read(kxtools_sbdf sbdf, uint32_t offset, uint32_t count, uint32_t* values);
/// A 16-bit register. Return 0, or -1 with a message.
int32_t kxpcie_word_read(kxtools_sbdf sbdf, uint32_t offset, uint16_t* value);
int32_t kxpcie_word_write(kxtools_sbdf sbdf, uint32_t offset, uint16_t value);
/// Replaces the bits under `mask` by those of `value`, with no other tool in between; `before` is what stood there.
int32_t kxpcie_word_change(kxtools_sbdf sbdf, uint32_t offset, uint16_t mask, uint16_t value, uint16_t* before);
