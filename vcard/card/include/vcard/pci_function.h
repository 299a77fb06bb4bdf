// The PCI functions that the card shows to the host, and their configuration space.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vcard/card_file.h"
#include "vcard/storage.h"

namespace vcard {

enum class FunctionKind : uint8_t { physical, virtual_function, card_switch, foreign };

inline constexpr size_t config_space_size = 4096;

/// Offsets of the capabilities that the card's functions carry. A capability that a function lacks is not in its list,
/// the offset stays unused then.
inline constexpr uint8_t power_capability = 0x40;
inline constexpr uint8_t msix_capability = 0x50;
inline constexpr uint8_t express_capability = 0x60;
inline constexpr uint8_t vpd_capability = 0xb0;
inline constexpr uint16_t aer_capability = 0x100;
inline constexpr uint16_t sriov_capability = 0x180;
inline constexpr uint16_t vendor_capability = 0x200;

struct PciFunction {
  FunctionKind kind = FunctionKind::physical;
  std::string sbdf;  // "0000:3b:00.0"
  uint16_t vendor = 0;
  uint16_t device = 0;
  uint32_t class_code = 0;  // 24 bits
  uint16_t subsystem_vendor = 0;
  uint16_t subsystem_device = 0;
  uint16_t vf_device = 0;
  uint16_t vf_total = 0;
  std::string interface;     // "" when the function has none
  std::string driver;        // "" when no driver is bound
  uint64_t bar_address = 0;  // physical start of BAR 0
  uint64_t bar_size = 0;     // 0: no BAR 0
  bool has_power = true;
  uint8_t power_state = 0;  // 0 to 3
  bool has_vpd = true;
  std::vector<std::pair<size_t, Bytes>> config_bytes;  // what the card file puts over the configuration space
  uint64_t config_size = config_space_size;            // length of the config file as the host sees it
  Storage config;                                      // always config_space_size bytes, shared with the config file

  /// True when it belongs to the card and is no switch: it shares BAR 0 and has the tunnel.
  bool is_card() const {
    return kind == FunctionKind::physical || kind == FunctionKind::virtual_function;
  }
};

/// The functions of the card, in address order: a switch, two physical functions, a virtual function without SR-IOV and
/// a function that is no card. The card file's section "functions" changes, adds and removes them by address:
/// {"0000:3b:00.0": {"power_state": 3}, "0000:3b:00.1": {"present": false}}. Configuration spaces are not filled yet.
std::vector<PciFunction> pci_functions_load(CardFile& file, uint64_t bar_size);

/// Creates and fills the configuration space. The file is `path`, or anonymous memory when empty. False with errno.
bool pci_function_config_create(PciFunction& function, const std::string& path);

}  // namespace vcard
