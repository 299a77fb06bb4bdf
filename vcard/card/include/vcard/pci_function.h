// The PCI functions that the card shows to the host, and their configuration space.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vcard/bytes.h"
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
inline constexpr uint8_t msi_capability = 0xc0;
inline constexpr uint16_t aer_capability = 0x100;
inline constexpr uint16_t sriov_capability = 0x180;
inline constexpr uint16_t vendor_capability = 0x200;
inline constexpr uint16_t ari_capability = 0x240;
inline constexpr uint16_t secondary_capability = 0x250;
inline constexpr uint16_t physical_16gt_capability = 0x280;
inline constexpr uint16_t margining_capability = 0x2c0;
inline constexpr uint16_t translation_capability = 0x310;

/// Where the MSI-X table and the pending bits lie in BAR 0.
inline constexpr uint32_t msix_vectors = 64;
inline constexpr uint32_t msix_table = 0x10000;
inline constexpr uint32_t msix_pending = 0x18000;

/// What the function's error registers hold, and the rest that a card file sets in its capabilities.
struct PciState {
  uint32_t uncorrectable_errors = 0;
  uint32_t correctable_errors = 0;
  uint16_t device_errors = 0;  // bits 0 to 3
  uint8_t first_error = 0;
  Bytes header_log = Bytes(16, 0);
  uint16_t vfs_on = 0;
  uint8_t link_speed = 4;  // 16 GT/s
  uint8_t link_width = 16;
  bool equalised = true;
  bool reset_capable = true;
  bool reset_returns = true;  // false: silent for ever after a function-level reset
  bool margining_ready = true;
};

/// The driver that speaks the card's private requests.
inline constexpr const char* card_driver = "corvane10e";

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
  bool multi = false;        // its device has more functions
  std::string physical;      // address of the physical function of a virtual one; "" when there is none
  bool has_power = true;
  uint8_t power_state = 0;  // 0 to 3
  bool has_vpd = true;
  int iommu_group = -1;  // -1: none
  Bytes product_data;    // what the file "vpd" holds; empty: no such file
  PciState state;
  std::vector<std::pair<size_t, Bytes>> config_bytes;  // what the card file puts over the configuration space
  uint64_t config_size = config_space_size;            // length of the config file as the host sees it
  Storage config;                                      // always config_space_size bytes, shared with the config file

  /// Function 0 of the card speaks for the link that all functions share.
  bool speaks_for_link() const {
    return kind == FunctionKind::physical && sbdf.ends_with(".0");
  }
  /// Where BAR 0 of the physical function's virtual functions begins, behind that of the function.
  uint64_t vf_bar_address() const {
    return bar_address + bar_size;
  }
  /// True when it belongs to the card and is no switch: it shares BAR 0 and has the tunnel.
  bool is_card() const {
    return kind == FunctionKind::physical || kind == FunctionKind::virtual_function;
  }
};

/// The functions of the card, in address order: a switch, two physical functions, a virtual function without SR-IOV and
/// a function that is no card. The card file's section "functions" changes, adds and removes them by address:
/// {"0000:3b:00.0": {"power_state": 3}, "0000:3b:00.1": {"present": false}}. Configuration spaces are not filled yet.
std::vector<PciFunction> pci_functions_load(CardFile& file, uint64_t bar_size);

/// The speed and width of the function's link, as its status register shows them.
void pci_link_status_set(PciFunction& function, uint8_t speed, uint8_t width);

/// Creates and fills the configuration space. The file is `path`, or anonymous memory when empty. False with errno.
bool pci_function_config_create(PciFunction& function, const std::string& path);

}  // namespace vcard
