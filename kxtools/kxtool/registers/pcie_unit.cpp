// What the PCIe function of the interface tells of itself in its configuration space.
#include <cstdio>
#include <iterator>
#include <string>

#include "kx_pcie/bind.h"
#include "kx_pcie/config_space.h"
#include "registers/registers.h"

namespace {

constexpr uint8_t CAP_ID_EXPRESS = 0x10;
constexpr uint16_t ECAP_ID_AER = 1;

constexpr uint32_t ALL_ONES = 0xFFFFFFFF;

constexpr uint32_t COMMAND = 0x04;
constexpr uint32_t COMMAND_MEMORY = 1u << 1;
constexpr uint32_t COMMAND_MASTER = 1u << 2;

// In the PCI Express capability.
constexpr uint32_t DEVICE_STATUS = 0x08;  // upper half
constexpr uint32_t LINK_CAPABILITIES = 0x0C;
constexpr uint32_t LINK_STATUS = 0x10;  // upper half
constexpr uint32_t DEVICE_NON_FATAL = 1u << 1;
constexpr uint32_t DEVICE_FATAL = 1u << 2;

// In the advanced error reporting capability.
constexpr uint32_t AER_UNCORRECTABLE_STATUS = 0x04;
constexpr uint32_t AER_UNCORRECTABLE_MASK = 0x08;
constexpr uint32_t AER_CORRECTABLE_STATUS = 0x10;

struct bit_name {
  uint8_t bit;
  const char* name;
};
constexpr bit_name DEVICE_BITS[] = {
    {0, "correctable error"}, {1, "non-fatal error"}, {2, "fatal error"}, {3, "unsupported request"}};
constexpr bit_name UNCORRECTABLE_BITS[] = {{4, "data link protocol"},
                                           {5, "surprise down"},
                                           {12, "poisoned TLP"},
                                           {13, "flow control protocol"},
                                           {14, "completion timeout"},
                                           {15, "completer abort"},
                                           {16, "unexpected completion"},
                                           {17, "receiver overflow"},
                                           {18, "malformed TLP"},
                                           {19, "ECRC"},
                                           {20, "unsupported request"},
                                           {21, "access control violation"},
                                           {22, "internal"},
                                           {23, "multicast blocked"},
                                           {24, "atomic egress blocked"},
                                           {25, "TLP prefix blocked"}};
constexpr bit_name CORRECTABLE_BITS[] = {{0, "receiver"},        {6, "bad TLP"},
                                         {7, "bad DLLP"},        {8, "replay rollover"},
                                         {12, "replay timeout"}, {13, "advisory non-fatal"},
                                         {14, "internal"},       {15, "header log overflow"}};

std::string bits_text(uint32_t value, std::span<const bit_name> names) {
  std::string text;
  for (const bit_name& row : names) {
    if ((value >> row.bit & 1) != 0) {
      text += text.empty() ? "" : ", ";
      text += row.name;
    }
  }
  return text;
}

// Width and speed; a speed of a later generation is told by its code.
std::string link_text(uint32_t link) {
  constexpr const char* SPEEDS[] = {"no link", "2.5 GT/s", "5 GT/s", "8 GT/s", "16 GT/s", "32 GT/s", "64 GT/s"};
  const uint32_t code = link & 0xF;
  char text[32];
  if (code < std::size(SPEEDS)) {
    snprintf(text, sizeof text, "x%u at %s", link >> 4 & 0x3F, SPEEDS[code]);
  } else {
    snprintf(text, sizeof text, "x%u at speed %u", link >> 4 & 0x3F, code);
  }
  return text;
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
    const int32_t express = pcie_find_capability(sbdf_, CAP_ID_EXPRESS);
    const int32_t aer = pcie_find_ext_capability(sbdf_, ECAP_ID_AER, 0);
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
    if (!read(0, &identity) || !read(COMMAND, &command)) {
      return false;
    }
    // The identity of a virtual function reads all ones; the command of none does.
    const bool answers = command != ALL_ONES;
    const bool enabled = (command & COMMAND_MEMORY) != 0 && (command & COMMAND_MASTER) != 0;
    return tell({"identity", 0, identity, answers ? "" : "the function does not answer", answers}) &&
           tell({"command", COMMAND, command & 0xFFFF, enabled ? "" : "memory or bus master off", answers && enabled});
  }

  // Correctable errors were repaired by the link, and unsupported requests are what probing software leaves behind:
  // both are told, neither is a failure.
  bool device_status_check(uint32_t express) {
    uint32_t status = 0;
    if (!read(express + DEVICE_STATUS, &status)) {
      return false;
    }
    status >>= 16;
    return tell({"device status", express + DEVICE_STATUS + 2, status, bits_text(status, DEVICE_BITS),
                 (status & (DEVICE_NON_FATAL | DEVICE_FATAL)) == 0});
  }

  bool link_check(uint32_t express) {
    uint32_t best = 0;
    uint32_t now = 0;
    if (!read(express + LINK_CAPABILITIES, &best) || !read(express + LINK_STATUS, &now)) {
      return false;
    }
    now >>= 16;
    const bool speed_good = (now & 0xF) >= (best & 0xF);
    const bool width_good = (now >> 4 & 0x3F) >= (best >> 4 & 0x3F);
    return tell(
        {"link", express + LINK_STATUS + 2, now, link_text(now) + " of " + link_text(best), speed_good && width_good});
  }

  bool aer_check(uint32_t aer) {
    uint32_t uncorrectable = 0;
    uint32_t mask = 0;
    uint32_t correctable = 0;
    if (!read(aer + AER_UNCORRECTABLE_STATUS, &uncorrectable) || !read(aer + AER_UNCORRECTABLE_MASK, &mask) ||
        !read(aer + AER_CORRECTABLE_STATUS, &correctable)) {
      return false;
    }
    return tell({"uncorrectable errors", aer + AER_UNCORRECTABLE_STATUS, uncorrectable,
                 bits_text(uncorrectable, UNCORRECTABLE_BITS), (uncorrectable & ~mask) == 0}) &&
           tell({"correctable errors", aer + AER_CORRECTABLE_STATUS, correctable,
                 bits_text(correctable, CORRECTABLE_BITS), correctable != ALL_ONES});
  }

  kxtools_sbdf sbdf_;
  kxtools_unit_visitor visitor_;
  void* self_;
  bool stopped_ = false;
};

int32_t configuration_visit(kxtools_unit_visitor visitor, void* self) {
  char name[32];
  for (uint32_t offset = 0; offset < PCIE_CFG_SIZE; offset += 4) {
    uint32_t words[1] = {};
    if (pcie_cfg_read_dword(pcie_bound_sbdf_get(), offset, &words[0]) != 0) {
      return -1;
    }
    snprintf(name, sizeof name, "configuration 0x%03x", offset);
    if (!visitor(self, {name, offset, words, "", true})) {
      break;
    }
  }
  return 0;
}

uint32_t unit_count(kxtools_unit_list list) {
  switch (list) {
    case kxtools_unit_list::checks:
      return 6;
    case kxtools_unit_list::counters:
      return 0;
    case kxtools_unit_list::registers:
      return PCIE_CFG_SIZE / 4;
  }
  return 0;
}

int32_t unit_visit(kxtools_unit_list list, kxtools_unit_visitor visitor, void* self) {
  switch (list) {
    case kxtools_unit_list::checks:
      return function_checks(visitor, self).run();
    case kxtools_unit_list::counters:
      return 0;
    case kxtools_unit_list::registers:
      return configuration_visit(visitor, self);
  }
  return 0;
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
