// MSI and MSI-X: what the host has programmed and what is pending.
#include <cinttypes>

#include "bar.h"
#include "capabilities.h"
#include "common/plural.h"
#include "common/report.h"
#include "reports.h"
#include "text.h"

namespace {

int32_t table_write(FILE* out, const kx_mmio_region& table, const kx_mmio_region& pending, uint32_t vectors) {
  fprintf(out, "vector  address             data        masked  pending\n");
  for (uint32_t i = 0; i < vectors; ++i) {
    const uint64_t entry = uint64_t{i} * PCI_MSIX_ENTRY_SIZE;
    const uint64_t address =
        uint64_t{kx_mmio_read32(table, entry + PCI_MSIX_ENTRY_UPPER_ADDR)} << 32 | kx_mmio_read32(table, entry);
    const uint32_t data = kx_mmio_read32(table, entry + PCI_MSIX_ENTRY_DATA);
    const uint32_t control = kx_mmio_read32(table, entry + PCI_MSIX_ENTRY_VECTOR_CTRL);
    const uint32_t bits = kx_mmio_read32(pending, uint64_t{i / 32} * 4);
    fprintf(out, "%6" PRIu32 "  0x%016" PRIx64 "  0x%08" PRIx32 "  %-6s  %s\n", i, address, data,
            kxpcie_yes(control & PCI_MSIX_ENTRY_CTRL_MASKBIT), kxpcie_yes(bits >> (i % 32) & 1));
  }
  return 0;
}

}  // namespace

int32_t kxpcie_msix_dump(FILE* out, kxtools_sbdf sbdf) {
  uint32_t offset = 0;
  uint32_t registers[3] = {};
  if (kxpcie_capability_find(sbdf, false, PCI_CAP_ID_MSIX, &offset) != 0 ||
      kxpcie_dwords_read(sbdf, offset, 3, registers) != 0) {
    return -1;
  }
  const uint32_t control = registers[0] >> 16;
  const uint32_t vectors = (control & PCI_MSIX_FLAGS_QSIZE) + 1;
  const uint32_t table_register = registers[PCI_MSIX_TABLE / 4];
  const uint32_t pending_register = registers[PCI_MSIX_PBA / 4];
  const uint32_t table_bar = table_register & PCI_MSIX_TABLE_BIR;
  const uint32_t pending_bar = pending_register & PCI_MSIX_TABLE_BIR;
  if (table_bar >= KXPCIE_BARS || pending_bar >= KXPCIE_BARS) {
    KXTOOLS_ERR("MSI-X table in BAR %" PRIu32 " and pending bits in BAR %" PRIu32 ": there is no such BAR\n", table_bar,
                pending_bar);
    return -1;
  }
  fprintf(out,
          "MSI-X %s, function %s, %" PRIu32 " vector%s, table at BAR %" PRIu32 " 0x%" PRIx32
          ", pending bits at BAR %" PRIu32 " 0x%" PRIx32 "\n",
          kxpcie_on(control & PCI_MSIX_FLAGS_ENABLE), (control & PCI_MSIX_FLAGS_MASKALL) != 0 ? "masked" : "not masked",
          vectors, kx_plural(vectors), table_bar, table_register & ~PCI_MSIX_TABLE_BIR, pending_bar,
          pending_register & ~PCI_MSIX_TABLE_BIR);
  kxpcie_bar_window table;
  kxpcie_bar_window pending;
  if (table.open(sbdf, table_bar, table_register & ~PCI_MSIX_TABLE_BIR, uint64_t{vectors} * PCI_MSIX_ENTRY_SIZE,
                 false) != 0 ||
      pending.open(sbdf, pending_bar, pending_register & ~PCI_MSIX_TABLE_BIR, (uint64_t{vectors} + 63) / 64 * 8,
                   false) != 0) {
    return -1;
  }
  return table_write(out, table.region(), pending.region(), vectors);
}

int32_t kxpcie_msi_dump(FILE* out, kxtools_sbdf sbdf) {
  uint32_t offset = 0;
  uint32_t header = 0;
  if (kxpcie_capability_find(sbdf, false, PCI_CAP_ID_MSI, &offset) != 0 ||
      kxpcie_dwords_read(sbdf, offset, 1, &header) != 0) {
    return -1;
  }
  const uint32_t control = header >> 16;
  const bool is_64_bit = (control & PCI_MSI_FLAGS_64BIT) != 0;
  const bool masking = (control & PCI_MSI_FLAGS_MASKBIT) != 0;
  // Address, upper address, data, mask, pending; the upper address only with 64 bits.
  uint32_t registers[5] = {};
  const uint32_t data = is_64_bit ? 2 : 1;
  if (kxpcie_dwords_read(sbdf, offset + PCI_MSI_ADDRESS_LO, data + (masking ? 3 : 1), registers) != 0) {
    return -1;
  }
  const uint64_t address = (is_64_bit ? uint64_t{registers[1]} << 32 : 0) | registers[0];
  const bool extended = (control & PCIE_MSI_EXTENDED_DATA_ENABLED) != 0;
  fprintf(out, "MSI %s, vectors %u of %u\naddress 0x%016" PRIx64 " data 0x%0*" PRIx32 "\n",
          kxpcie_on(control & PCI_MSI_FLAGS_ENABLE), 1u << (control >> 4 & 7), 1u << (control >> 1 & 7), address,
          extended ? 8 : 4, extended ? registers[data] : registers[data] & 0xFFFF);
  if (masking) {
    fprintf(out, "mask    0x%08" PRIx32 "\npending 0x%08" PRIx32 "\n", registers[data + 1], registers[data + 2]);
  }
  return 0;
}
