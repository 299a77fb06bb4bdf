// The function's capabilities: where they lie, and registers of theirs.
#pragma once

#include <cstdint>
#include <vector>

#include "device/address.h"
#include "kx_pcie/registers.h"

struct kxpcie_capability {
  uint16_t id;
  uint8_t version;  ///< of an extended capability
  uint16_t offset;
};

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
