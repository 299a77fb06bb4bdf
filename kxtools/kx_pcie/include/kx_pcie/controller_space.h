// The register spaces of the card's PCIe endpoint controllers, numbered 0 to 4, in card memory. Every function returns
// 0, -1 with a message ("ep_no input error" for another controller number), or -2 when the tunnel is busy.
#pragma once

#include <cstdint>

/// DBI: the controller's own view of its configuration space, `offset` in bytes.
int32_t pcie_dbi_read(uint32_t ep_no, uint32_t offset, uint32_t* value);
int32_t pcie_dbi_write_mask(uint32_t ep_no, uint32_t offset, uint32_t value, uint32_t mask);

/// CSR: the controller's control and status registers.
int32_t pcie_csr_read(uint32_t ep_no, uint32_t offset, uint32_t* value);
int32_t pcie_csr_write(uint32_t ep_no, uint32_t offset, uint32_t value);
int32_t pcie_csr_write_mask(uint32_t ep_no, uint32_t offset, uint32_t value, uint32_t mask);

/// Allows (1) or forbids (0) writes to the read-only DBI registers.
int32_t pcie_dbi_ro_wr_en(uint32_t ep_no, uint32_t enable);

/// Walks the extended capabilities of a configuration space seen at card address `base`. Returns 0 with the offset, or
/// -1 with a message; `vsec_id` counts for id 11 only. A chain that loops ends like one without the id.
int32_t pcie_find_ext_capability_directly(uint64_t base, uint16_t id, uint16_t vsec_id, uint32_t* offset);
