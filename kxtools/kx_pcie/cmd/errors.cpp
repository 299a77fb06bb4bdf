// Errors that the function has recorded: shown by name, and cleared.
#include <unistd.h>

#include <cinttypes>

#include "actions.h"
#include "capabilities.h"
#include "common/report.h"
#include "kx_pcie/config_space.h"
#include "reports.h"

namespace {

// An error whose cause persists is back by then.
constexpr useconds_t SETTLE_US = 10000;

constexpr uint32_t AER_DWORDS = (PCI_ERR_HEADER_LOG + 16) / 4;  // up to the end of the header log

constexpr pcie_bit DEVICE_STATES[] = {
    {4, "AUX Power Detected"},
    {5, "Transactions Pending"},
    {6, "Emergency Power Reduction Detected"},
};

constexpr pcie_bit DEVICE_REPORTING[] = {
    {0, "Correctable Error Reporting"},
    {1, "Non-Fatal Error Reporting"},
    {2, "Fatal Error Reporting"},
    {3, "Unsupported Request Reporting"},
    {4, "Relaxed Ordering"},
    {8, "Extended Tag Field"},
    {9, "Phantom Functions"},
    {11, "No Snoop"},
};

void bits_write(FILE* out, std::span<const pcie_bit> bits, uint32_t value, const char* on, const char* off) {
  for (const pcie_bit& row : bits) {
    fprintf(out, "  %-34s %s\n", row.name, (value >> row.bit & 1) != 0 ? on : off);
  }
}

const char* severity_text(bool correctable, uint32_t severity, uint8_t bit) {
  if (correctable) {
    return "correctable";
  }
  return (severity >> bit & 1) != 0 ? "fatal" : "non-fatal";
}

// One row an error that is recorded, and any bit beside them as it stands.
void status_write(FILE* out, bool correctable, uint32_t status, uint32_t mask, uint32_t severity, uint32_t first) {
  const std::span<const pcie_bit> names = correctable ? std::span<const pcie_bit>(PCIE_CORRECTABLE_ERRORS)
                                                      : std::span<const pcie_bit>(PCIE_UNCORRECTABLE_ERRORS);
  for (const pcie_bit& row : names) {
    if ((status >> row.bit & 1) != 0) {
      fprintf(out, "  %-34s %-11s %s%s\n", row.name, severity_text(correctable, severity, row.bit),
              (mask >> row.bit & 1) != 0 ? "masked" : "reported", !correctable && row.bit == first ? ", first" : "");
    }
  }
  if (const uint32_t rest = status & ~pcie_bits_mask(names); rest != 0) {
    fprintf(out, "  bits without a name                0x%08" PRIx32 "\n", rest);
  }
  if (status == 0) {
    fprintf(out, "  none\n");
  }
}

// Writes ones to every status bit that the standard knows, not only to those just read: a bit that has come since is
// cleared too, which is what was asked for. Reserved bits get zeros.
int32_t aer_status_clear(kxtools_sbdf sbdf, uint32_t offset, std::span<const pcie_bit> names, const char* what) {
  uint32_t before = 0;
  uint32_t after = 0;
  if (pcie_cfg_read_dword(sbdf, offset, &before) != 0 ||
      (before != 0 && pcie_cfg_write_dword(sbdf, offset, pcie_bits_mask(names)) != 0)) {
    return -1;
  }
  usleep(SETTLE_US);
  if (pcie_cfg_read_dword(sbdf, offset, &after) != 0) {
    return -1;
  }
  kx_print("%s error status: was 0x%08" PRIx32 ", reads 0x%08" PRIx32 "\n", what, before, after);
  return 0;
}

int32_t device_status_clear(kxtools_sbdf sbdf, uint32_t express) {
  constexpr uint16_t ERRORS = static_cast<uint16_t>(pcie_bits_mask(PCIE_DEVICE_ERRORS));
  uint16_t before = 0;
  uint16_t after = 0;
  if (kxpcie_word_read(sbdf, express + PCI_EXP_DEVSTA, &before) != 0 ||
      ((before & ERRORS) != 0 && kxpcie_word_write(sbdf, express + PCI_EXP_DEVSTA, ERRORS) != 0)) {
    return -1;
  }
  usleep(SETTLE_US);
  if (kxpcie_word_read(sbdf, express + PCI_EXP_DEVSTA, &after) != 0) {
    return -1;
  }
  kx_print("device error status: was 0x%04x, reads 0x%04x\n", before & ERRORS, after & ERRORS);
  return 0;
}

}  // namespace

int32_t kxpcie_aer_dump(FILE* out, kxtools_sbdf sbdf) {
  uint32_t offset = 0;
  uint32_t aer[AER_DWORDS] = {};
  if (kxpcie_capability_find(sbdf, true, PCI_EXT_CAP_ID_ERR, &offset) != 0 ||
      kxpcie_dwords_read(sbdf, offset, AER_DWORDS, aer) != 0) {
    return -1;
  }
  const uint32_t uncorrectable = aer[PCI_ERR_UNCOR_STATUS / 4];
  const uint32_t correctable = aer[PCI_ERR_COR_STATUS / 4];
  const uint32_t first = PCI_ERR_CAP_FEP(aer[PCI_ERR_CAP / 4]);
  fprintf(out, "uncorrectable errors: status 0x%08" PRIx32 ", mask 0x%08" PRIx32 ", severity 0x%08" PRIx32 "\n",
          uncorrectable, aer[PCI_ERR_UNCOR_MASK / 4], aer[PCI_ERR_UNCOR_SEVER / 4]);
  status_write(out, false, uncorrectable, aer[PCI_ERR_UNCOR_MASK / 4], aer[PCI_ERR_UNCOR_SEVER / 4], first);
  fprintf(out, "correctable errors: status 0x%08" PRIx32 ", mask 0x%08" PRIx32 "\n", correctable,
          aer[PCI_ERR_COR_MASK / 4]);
  status_write(out, true, correctable, aer[PCI_ERR_COR_MASK / 4], 0, 0);
  const uint32_t* log = &aer[PCI_ERR_HEADER_LOG / 4];
  fprintf(out, "header log: %08" PRIx32 " %08" PRIx32 " %08" PRIx32 " %08" PRIx32 "\n", log[0], log[1], log[2], log[3]);
  return 0;
}

int32_t kxpcie_aer_clear(kxtools_sbdf sbdf, kxpcie_words) {
  uint32_t aer = 0;
  uint32_t express = 0;
  if (kxpcie_capability_find(sbdf, true, PCI_EXT_CAP_ID_ERR, &aer) != 0 ||
      kxpcie_capability_find(sbdf, false, PCI_CAP_ID_EXP, &express) != 0 ||
      aer_status_clear(sbdf, aer + PCI_ERR_UNCOR_STATUS, PCIE_UNCORRECTABLE_ERRORS, "uncorrectable") != 0 ||
      aer_status_clear(sbdf, aer + PCI_ERR_COR_STATUS, PCIE_CORRECTABLE_ERRORS, "correctable") != 0) {
    return -1;
  }
  return device_status_clear(sbdf, express);
}

int32_t kxpcie_dev_status(FILE* out, kxtools_sbdf sbdf) {
  uint32_t express = 0;
  uint32_t registers[2] = {};
  if (kxpcie_capability_find(sbdf, false, PCI_CAP_ID_EXP, &express) != 0 ||
      kxpcie_dwords_read(sbdf, express + PCI_EXP_DEVCAP, 2, registers) != 0) {
    return -1;
  }
  const uint32_t capabilities = registers[0];
  const uint32_t control = registers[1] & 0xFFFF;
  const uint32_t status = registers[1] >> 16;
  fprintf(out, "device status 0x%04" PRIx32 "\n", status);
  bits_write(out, PCIE_DEVICE_ERRORS, status, "yes", "no");
  bits_write(out, DEVICE_STATES, status, "yes", "no");
  fprintf(out, "device control 0x%04" PRIx32 "\n", control);
  bits_write(out, DEVICE_REPORTING, control, "on", "off");
  fprintf(out, "  %-34s %u bytes of %u\n", "Max Payload Size", 128u << (control >> 5 & 7), 128u << (capabilities & 7));
  fprintf(out, "  %-34s %u bytes\n", "Max Read Request Size", 128u << (control >> 12 & 7));
  fprintf(out, "  %-34s %s\n", "Function Level Reset",
          (capabilities & PCI_EXP_DEVCAP_FLR) != 0 ? "supported" : "not supported");
  return 0;
}
