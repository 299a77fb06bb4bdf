// MSI and MSI-X: what the host has programmed and what is pending.
#include <cinttypes>

#include "bar.h"
#include "common/plural.h"
#include "reports.h"
#include "text.h"

namespace {

void table_write(FILE* out, const kx_mmio_region& table, const kx_mmio_region& pending, uint32_t vectors) {
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
}

}  // namespace

void kxpcie_msix_dump(FILE* out, kxpcie_target& target) {
  const uint32_t offset = target.find(false, PCI_CAP_ID_MSIX);
  const uint32_t control = target.word(offset + PCI_MSIX_FLAGS);
  const uint32_t table_register = target.dword(offset + PCI_MSIX_TABLE);
  const uint32_t pending_register = target.dword(offset + PCI_MSIX_PBA);
  const uint32_t vectors = (control & PCI_MSIX_FLAGS_QSIZE) + 1;
  const uint32_t table_bar = table_register & PCI_MSIX_TABLE_BIR;
  const uint32_t pending_bar = pending_register & PCI_MSIX_PBA_BIR;
  const uint32_t table_offset = table_register & PCI_MSIX_TABLE_OFFSET;
  const uint32_t pending_offset = pending_register & PCI_MSIX_PBA_OFFSET;
  if (table_bar >= KXPCIE_BARS || pending_bar >= KXPCIE_BARS) {
    KXPCIE_FAIL(target, "MSI-X table in BAR %" PRIu32 " and pending bits in BAR %" PRIu32 ": there is no such BAR",
                table_bar, pending_bar);
  }
  if (!target.good()) {
    return;
  }
  fprintf(out,
          "MSI-X %s, function %s, %" PRIu32 " vector%s, table at BAR %" PRIu32 " 0x%" PRIx32
          ", pending bits at BAR %" PRIu32 " 0x%" PRIx32 "\n",
          kxpcie_on(control & PCI_MSIX_FLAGS_ENABLE), (control & PCI_MSIX_FLAGS_MASKALL) != 0 ? "masked" : "not masked",
          vectors, kx_plural(vectors), table_bar, table_offset, pending_bar, pending_offset);
  kxpcie_bar_window table;
  kxpcie_bar_window pending;
  if (table.open(target, table_bar, table_offset, uint64_t{vectors} * PCI_MSIX_ENTRY_SIZE, false) &&
      pending.open(target, pending_bar, pending_offset, (uint64_t{vectors} + 63) / 64 * 8, false)) {
    table_write(out, table.region(), pending.region(), vectors);
  }
}

void kxpcie_msi_dump(FILE* out, kxpcie_target& target) {
  const uint32_t offset = target.find(false, PCI_CAP_ID_MSI);
  const uint32_t control = target.word(offset + PCI_MSI_FLAGS);
  const bool is_64_bit = (control & PCI_MSI_FLAGS_64BIT) != 0;
  const bool masking = (control & PCI_MSI_FLAGS_MASKBIT) != 0;
  const bool extended = (control & PCIE_MSI_EXTENDED_DATA_ENABLED) != 0;
  const uint32_t low = target.dword(offset + PCI_MSI_ADDRESS_LO);
  const uint32_t high = is_64_bit ? target.dword(offset + PCI_MSI_ADDRESS_HI) : 0;
  const uint32_t data = target.dword(offset + (is_64_bit ? PCI_MSI_DATA_64 : PCI_MSI_DATA_32));
  const uint32_t mask = masking ? target.dword(offset + (is_64_bit ? PCI_MSI_MASK_64 : PCI_MSI_MASK_32)) : 0;
  const uint32_t pending = masking ? target.dword(offset + (is_64_bit ? PCI_MSI_PENDING_64 : PCI_MSI_PENDING_32)) : 0;
  if (!target.good()) {
    return;
  }
  fprintf(out, "MSI %s, vectors %u of %u\naddress 0x%016" PRIx64 " data 0x%0*" PRIx32 "\n",
          kxpcie_on(control & PCI_MSI_FLAGS_ENABLE), 1u << (control >> 4 & 7), 1u << (control >> 1 & 7),
          uint64_t{high} << 32 | low, extended ? 8 : 4, extended ? data : data & 0xFFFF);
  if (masking) {
    fprintf(out, "mask    0x%08" PRIx32 "\npending 0x%08" PRIx32 "\n", mask, pending);
  }
}
