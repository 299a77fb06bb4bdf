// Errors that the function has recorded: shown by name, and cleared.
#include <unistd.h>

#include <cinttypes>

#include "actions.h"
#include "common/report.h"
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
void aer_status_clear(kxpcie_target& target, uint32_t offset, std::span<const pcie_bit> names, const char* what) {
  const uint32_t before = target.dword(offset);
  if (before != 0) {
    target.dword_write(offset, pcie_bits_mask(names));
  }
  usleep(SETTLE_US);
  const uint32_t after = target.dword(offset);
  if (target.good()) {
    kx_print("%s error status: was 0x%08" PRIx32 ", reads 0x%08" PRIx32 "\n", what, before, after);
  }
}

void device_status_clear(kxpcie_target& target, uint32_t offset) {
  constexpr uint16_t ERRORS = static_cast<uint16_t>(pcie_bits_mask(PCIE_DEVICE_ERRORS));
  const uint16_t before = target.word(offset);
  if ((before & ERRORS) != 0) {
    target.word_write(offset, ERRORS);
  }
  usleep(SETTLE_US);
  const uint16_t after = target.word(offset);
  if (target.good()) {
    kx_print("device error status: was 0x%04x, reads 0x%04x\n", before & ERRORS, after & ERRORS);
  }
}

}  // namespace

void kxpcie_aer_dump(FILE* out, kxpcie_target& target) {
  uint32_t aer[AER_DWORDS] = {};
  target.dwords(target.find(true, PCI_EXT_CAP_ID_ERR), aer);
  if (!target.good()) {
    return;
  }
  const uint32_t uncorrectable = aer[PCI_ERR_UNCOR_STATUS / 4];
  const uint32_t mask = aer[PCI_ERR_UNCOR_MASK / 4];
  const uint32_t severity = aer[PCI_ERR_UNCOR_SEVER / 4];
  const uint32_t correctable = aer[PCI_ERR_COR_STATUS / 4];
  const uint32_t correctable_mask = aer[PCI_ERR_COR_MASK / 4];
  fprintf(out, "uncorrectable errors: status 0x%08" PRIx32 ", mask 0x%08" PRIx32 ", severity 0x%08" PRIx32 "\n",
          uncorrectable, mask, severity);
  status_write(out, false, uncorrectable, mask, severity, PCI_ERR_CAP_FEP(aer[PCI_ERR_CAP / 4]));
  fprintf(out, "correctable errors: status 0x%08" PRIx32 ", mask 0x%08" PRIx32 "\n", correctable, correctable_mask);
  status_write(out, true, correctable, correctable_mask, 0, 0);
  const uint32_t* log = &aer[PCI_ERR_HEADER_LOG / 4];
  fprintf(out, "header log: %08" PRIx32 " %08" PRIx32 " %08" PRIx32 " %08" PRIx32 "\n", log[0], log[1], log[2], log[3]);
}

void kxpcie_aer_clear(kxpcie_target& target, kxpcie_words) {
  const uint32_t aer = target.find(true, PCI_EXT_CAP_ID_ERR);
  const uint32_t express = target.find(false, PCI_CAP_ID_EXP);
  if (!target.good()) {
    return;
  }
  aer_status_clear(target, aer + PCI_ERR_UNCOR_STATUS, PCIE_UNCORRECTABLE_ERRORS, "uncorrectable");
  aer_status_clear(target, aer + PCI_ERR_COR_STATUS, PCIE_CORRECTABLE_ERRORS, "correctable");
  device_status_clear(target, express + PCI_EXP_DEVSTA);
}

void kxpcie_dev_status(FILE* out, kxpcie_target& target) {
  const uint32_t express = target.find(false, PCI_CAP_ID_EXP);
  const uint32_t capabilities = target.dword(express + PCI_EXP_DEVCAP);
  const uint32_t control_status = target.dword(express + PCI_EXP_DEVCTL);
  if (!target.good()) {
    return;
  }
  const uint32_t control = control_status & 0xFFFF;
  const uint32_t status = control_status >> 16;
  fprintf(out, "device status 0x%04" PRIx32 "\n", status);
  bits_write(out, PCIE_DEVICE_ERRORS, status, "yes", "no");
  bits_write(out, DEVICE_STATES, status, "yes", "no");
  fprintf(out, "device control 0x%04" PRIx32 "\n", control);
  bits_write(out, DEVICE_REPORTING, control, "on", "off");
  fprintf(out, "  %-34s %u bytes of %u\n", "Max Payload Size", 128u << (control >> 5 & 7), 128u << (capabilities & 7));
  fprintf(out, "  %-34s %u bytes\n", "Max Read Request Size", 128u << (control >> 12 & 7));
  fprintf(out, "  %-34s %s\n", "Function Level Reset",
          (capabilities & PCI_EXP_DEVCAP_FLR) != 0 ? "supported" : "not supported");
}
