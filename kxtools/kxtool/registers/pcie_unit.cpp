// What the PCIe function of the interface tells of itself in its configuration space.
#include <string>

#include "common/text.h"
#include "kx_pcie/config_space.h"
#include "kx_pcie/tunnel.h"
#include "registers/registers.h"

namespace {

std::string bits_text(uint32_t value, std::span<const pcie_bit> names) {
  std::string text;
  for (const pcie_bit& row : names) {
    if ((value >> row.bit & 1) != 0) {
      text += text.empty() ? "" : ", ";
      text += row.name;
    }
  }
  return text;
}

std::string link_text(uint32_t link) {
  return kx_text("x%u at %s", pcie_link_width(link), pcie_speed_text(pcie_link_speed(link)));
}

/// One check: reads the dword at `offset` and judges it.
struct finding {
  const char* name;
  uint32_t offset;
  uint32_t value;
  std::string note;
  bool good;
};

class function_checks {
 public:
  function_checks(kxtools_unit_visitor visitor, void* self)
      : sbdf_(pcie_bound_sbdf_get()), visitor_(visitor), self_(self) {}

  int32_t run() {
    const int32_t express = pcie_find_capability(sbdf_, PCI_CAP_ID_EXP);
    const int32_t aer = pcie_find_ext_capability(sbdf_, PCI_EXT_CAP_ID_ERR, 0);
    if (express < 0 || !command_check() || !device_status_check(static_cast<uint32_t>(express)) ||
        !link_check(static_cast<uint32_t>(express)) || (aer > 0 && !aer_check(static_cast<uint32_t>(aer)))) {
      return stopped_ ? 0 : -1;
    }
    return 0;
  }

 private:
  bool read(uint32_t offset, uint32_t* value) const {
    return pcie_cfg_read_dword(sbdf_, offset, value) == 0;
  }

  bool tell(const finding& found) {
    const uint32_t words[] = {found.value};
    stopped_ = !visitor_(self_, {found.name, found.offset, words, found.note.c_str(), found.good});
    return !stopped_;
  }

  bool command_check() {
    uint32_t identity = 0;
    uint32_t command = 0;
    if (!read(PCI_VENDOR_ID, &identity) || !read(PCI_COMMAND, &command)) {
      return false;
    }
    // The identity of a virtual function reads all ones; the command of none does.
    const bool answers = !pcie_is_silence(command);
    const bool enabled = (command & PCI_COMMAND_MEMORY) != 0 && (command & PCI_COMMAND_MASTER) != 0;
    return tell({"identity", PCI_VENDOR_ID, identity, answers ? "" : "the function does not answer", answers}) &&
           tell({"command", PCI_COMMAND, command & 0xFFFF, enabled ? "" : "memory or bus master off",
                 answers && enabled});
  }

  // Correctable errors were repaired by the link, and unsupported requests are what probing software leaves behind:
  // both are told, neither is a failure.
  bool device_status_check(uint32_t express) {
    uint32_t status = 0;
    if (!read(express + PCI_EXP_DEVCTL, &status)) {
      return false;
    }
    status >>= 16;
    return tell({"device status", express + PCI_EXP_DEVSTA, status, bits_text(status, PCIE_DEVICE_ERRORS),
                 (status & (PCI_EXP_DEVSTA_NFED | PCI_EXP_DEVSTA_FED)) == 0});
  }

  bool link_check(uint32_t express) {
    uint32_t best = 0;
    uint32_t now = 0;
    if (!read(express + PCI_EXP_LNKCAP, &best) || !read(express + PCI_EXP_LNKCTL, &now)) {
      return false;
    }
    now >>= 16;
    const bool speed_good = pcie_link_speed(now) >= pcie_link_speed(best);
    const bool width_good = pcie_link_width(now) >= pcie_link_width(best);
    return tell(
        {"link", express + PCI_EXP_LNKSTA, now, link_text(now) + " of " + link_text(best), speed_good && width_good});
  }

  bool aer_check(uint32_t aer) {
    uint32_t uncorrectable = 0;
    uint32_t mask = 0;
    uint32_t correctable = 0;
    if (!read(aer + PCI_ERR_UNCOR_STATUS, &uncorrectable) || !read(aer + PCI_ERR_UNCOR_MASK, &mask) ||
        !read(aer + PCI_ERR_COR_STATUS, &correctable)) {
      return false;
    }
    return tell({"uncorrectable errors", aer + PCI_ERR_UNCOR_STATUS, uncorrectable,
                 bits_text(uncorrectable, PCIE_UNCORRECTABLE_ERRORS), (uncorrectable & ~mask) == 0}) &&
           tell({"correctable errors", aer + PCI_ERR_COR_STATUS, correctable,
                 bits_text(correctable, PCIE_CORRECTABLE_ERRORS), !pcie_is_silence(correctable)});
  }

  kxtools_sbdf sbdf_;
  kxtools_unit_visitor visitor_;
  void* self_;
  bool stopped_ = false;
};

int32_t configuration_visit(kxtools_unit_visitor visitor, void* self) {
  for (uint32_t offset = 0; offset < PCIE_CFG_SIZE; offset += 4) {
    uint32_t words[1] = {};
    if (pcie_cfg_read_dword(pcie_bound_sbdf_get(), offset, &words[0]) != 0) {
      return -1;
    }
    if (!visitor(self, {kx_text("configuration 0x%03x", offset).c_str(), offset, words, "", true})) {
      break;
    }
  }
  return 0;
}

// Both lists are the same here: no read of configuration space clears a register.
bool has_configuration(kxtools_unit_list list) {
  return list == kxtools_unit_list::registers || list == kxtools_unit_list::steady_registers;
}

uint32_t unit_count(kxtools_unit_list list) {
  constexpr uint32_t CHECKS = 6;
  return list == kxtools_unit_list::checks ? CHECKS : has_configuration(list) ? PCIE_CFG_SIZE / 4 : 0;
}

int32_t unit_visit(kxtools_unit_list list, kxtools_unit_visitor visitor, void* self) {
  if (list == kxtools_unit_list::checks) {
    return function_checks(visitor, self).run();
  }
  return has_configuration(list) ? configuration_visit(visitor, self) : 0;
}

// The configuration spaces of the endpoint controllers behind each other.
constexpr kxtools_unit_window controller(uint64_t number) {
  return {number * PCIE_CFG_SIZE, (0x84 + number) << 32, PCIE_CFG_SIZE};
}
constexpr kxtools_unit_window WINDOWS[] = {controller(0), controller(1), controller(2), controller(3), controller(4)};

}  // namespace

constinit const kxtools_unit kxtool_pcie_unit = {
    .name = "pcie",
    .title = "PCIe function",
    .open = nullptr,
    .count = unit_count,
    .visit = unit_visit,
    .windows = WINDOWS,
};
