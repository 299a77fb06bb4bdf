// The walk over the capabilities of a configuration space, wherever its dwords come from: the kernel's file, card
// memory, a copy. Every list ends: no more entries are looked at than fit, none lies outside of the lists' own range,
// and the two reserved bits of a pointer do not count.
#pragma once

#include <cstdint>

#include "kx_pcie/registers.h"

enum class pcie_capability_list : uint8_t { standard, extended };

enum class pcie_walk_end : uint8_t {
  found,    ///< `offset` is the entry that matched
  no_list,  ///< there is no list: its pointer leads nowhere, or its first header says so
  end,      ///< no entry matched
  failed,   ///< a read or a match failed; `error` is what it returned
};

struct pcie_walk_result {
  pcie_walk_end end;
  uint32_t offset;
  int32_t error;
};

inline constexpr uint32_t PCIE_CAPABILITY_LOWEST = 0x40;  ///< the standard header lies before
inline constexpr uint32_t PCIE_EXTENDED_FIRST = 0x100;    ///< the first extended capability, and the lowest place
inline constexpr uint32_t PCIE_CAPABILITIES_MAX = 48;     ///< dwords between both
inline constexpr uint32_t PCIE_EXTENDED_MAX = 0xF00 / 8;  ///< no extended capability is shorter than 8 bytes

/// `read(offset, &dword)` returns 0 or an error. `match(offset, header)` returns 1 for the entry looked for, 0 for
/// another, negative for an error.
template <typename Read, typename Match>
pcie_walk_result pcie_capability_walk(pcie_capability_list list, Read read, Match match) {
  const bool extended = list == pcie_capability_list::extended;
  const uint32_t lowest = extended ? PCIE_EXTENDED_FIRST : PCIE_CAPABILITY_LOWEST;
  const uint32_t most = extended ? PCIE_EXTENDED_MAX : PCIE_CAPABILITIES_MAX;
  uint32_t offset = PCIE_EXTENDED_FIRST;
  if (!extended) {
    uint32_t pointer = 0;
    if (const int32_t error = read(PCI_CAPABILITY_LIST, &pointer); error != 0) {
      return {pcie_walk_end::failed, 0, error};
    }
    offset = (pointer & 0xFF) == 0xFF ? 0 : pointer & 0xFC;
  }
  for (uint32_t i = 0; i < most && offset >= lowest; ++i) {
    uint32_t header = 0;
    if (const int32_t error = read(offset, &header); error != 0) {
      return {pcie_walk_end::failed, offset, error};
    }
    if (pcie_is_silence(header) || (extended && header == 0)) {
      return {i == 0 && extended ? pcie_walk_end::no_list : pcie_walk_end::end, 0, 0};
    }
    if (const int32_t matched = match(offset, header); matched != 0) {
      return {matched > 0 ? pcie_walk_end::found : pcie_walk_end::failed, offset, matched > 0 ? 0 : matched};
    }
    offset = extended ? PCI_EXT_CAP_NEXT(header) : header >> 8 & 0xFC;
    if (offset < lowest) {
      return {pcie_walk_end::end, 0, 0};
    }
  }
  return {offset < lowest ? pcie_walk_end::no_list : pcie_walk_end::end, 0, 0};
}

/// Looks for the extended capability with that id. For id 11 (vendor-specific) the low 16 bits of the next dword must
/// equal `vsec_id` too; one at the very end has no second dword and matches nothing.
template <typename Read>
pcie_walk_result pcie_ext_capability_walk(Read read, uint16_t id, uint16_t vsec_id) {
  return pcie_capability_walk(
      pcie_capability_list::extended, read, [&read, id, vsec_id](uint32_t offset, uint32_t header) -> int32_t {
        uint32_t vendor = vsec_id;
        if (PCI_EXT_CAP_ID(header) != id || (id == PCI_EXT_CAP_ID_VNDR && offset + 4 >= PCIE_CFG_SIZE)) {
          return 0;
        }
        if (const int32_t error = id == PCI_EXT_CAP_ID_VNDR ? read(offset + 4, &vendor) : 0; error != 0) {
          return error;
        }
        return (vendor & 0xFFFF) == vsec_id ? 1 : 0;
      });
}
