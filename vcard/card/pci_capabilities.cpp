// What stands in the capabilities of a function when the card comes up.

#include <array>

#include "config_writer.h"
#include "vcard/pci_function.h"

namespace vcard {

namespace {

constexpr uint8_t best_speed = 4;  // 16 GT/s
constexpr uint8_t best_width = 16;
constexpr uint16_t downstream_port = 0x0062;
constexpr uint16_t endpoint = 0x0002;
constexpr uint32_t reset_capable = 1u << 28;
constexpr uint16_t auxiliary_power = 0x0010;
constexpr uint16_t link_active = 1u << 13;

uint16_t link_word(uint8_t speed, uint8_t width) {
  return static_cast<uint16_t>(width << 4 | speed);
}

void express_fill(const PciFunction& function, ConfigWriter& config) {
  const PciState& state = function.state;
  const size_t at = express_capability;
  config.put<uint16_t>(at + 0x02, function.kind == FunctionKind::card_switch ? downstream_port : endpoint);
  config.put<uint32_t>(at + 0x04, 0x00008022 | (state.reset_capable ? reset_capable : 0));
  config.put<uint16_t>(at + 0x08, 0x2930);  // payload 256, read request 512, relaxed ordering, no snoop, extended tags
  config.put<uint16_t>(at + 0x0a, auxiliary_power | state.device_errors);
  config.put<uint32_t>(at + 0x0c, 0x00000c00u | link_word(best_speed, best_width));  // L0s and L1
  config.put<uint16_t>(at + 0x10, 0x0042);                                           // L1 on, common clock
  config.put<uint16_t>(at + 0x12, link_active | link_word(state.link_speed, state.link_width));
  config.put<uint32_t>(at + 0x2c, 0x0000001e);  // 2.5 to 16 GT/s
  config.put<uint16_t>(at + 0x30, best_speed);
  config.put<uint16_t>(at + 0x32, state.equalised ? 0x001e : 0x0020);
}

void errors_fill(const PciState& state, ConfigWriter& config) {
  const size_t at = aer_capability;
  config.put<uint32_t>(at + 0x04, state.uncorrectable_errors);
  config.put<uint32_t>(at + 0x08, 0x00400000);
  config.put<uint32_t>(at + 0x0c, 0x00463030);
  config.put<uint32_t>(at + 0x10, state.correctable_errors);
  config.put<uint32_t>(at + 0x14, 0x00006000);
  config.put<uint32_t>(at + 0x18, 0x000000a0u | state.first_error);
  for (size_t i = 0; i < state.header_log.size(); i++) {
    config.put<uint8_t>(at + 0x1c + i, state.header_log[i]);
  }
}

void sriov_fill(const PciFunction& function, ConfigWriter& config) {
  const size_t at = sriov_capability;
  config.put<uint16_t>(at + 0x08, function.state.vfs_on != 0 ? 0x0019 : 0x0010);
  config.put<uint16_t>(at + 0x0c, function.vf_total);
  config.put<uint16_t>(at + 0x0e, function.vf_total);
  config.put<uint16_t>(at + 0x10, function.state.vfs_on);
  config.put<uint16_t>(at + 0x14, 8);
  config.put<uint16_t>(at + 0x16, 1);
  config.put<uint16_t>(at + 0x1a, function.vf_device);
  config.put<uint32_t>(at + 0x1c, 0x00000553);
  config.put<uint32_t>(at + 0x20, 1);
  config.put<uint64_t>(at + 0x24, function.vf_bar_address() | 0xc);
}

void interrupts_fill(ConfigWriter& config) {
  config.put<uint16_t>(msix_capability + 2, 0x8000 | (msix_vectors - 1));
  config.put<uint32_t>(msix_capability + 4, msix_table);  // both in BAR 0
  config.put<uint32_t>(msix_capability + 8, msix_pending);
  config.put<uint16_t>(msi_capability + 2, 0x018a);  // off; 32 vectors, 64 bits, masks
  config.put<uint32_t>(msi_capability + 4, 0xfee00000);
  config.put<uint16_t>(msi_capability + 12, 0x4021);
  config.put<uint32_t>(msi_capability + 16, 0x0000000f);
  config.put<uint32_t>(msi_capability + 20, 0x00000002);
}

void link_fill(const PciState& state, ConfigWriter& config) {
  for (size_t lane = 0; lane < best_width; ++lane) {
    config.put<uint16_t>(secondary_capability + 0x0c + 2 * lane, 0x1714);
    config.put<uint8_t>(physical_16gt_capability + 0x20 + lane, 0x64);
    config.put<uint32_t>(margining_capability + 0x08 + 4 * lane, 0x9c389c38);  // no command
  }
  config.put<uint32_t>(physical_16gt_capability + 0x0c, state.equalised ? 0x0f : 0x12);
  config.put<uint16_t>(margining_capability + 0x06, state.margining_ready ? 1 : 0);
}

}  // namespace

void pci_link_status_set(PciFunction& function, uint8_t speed, uint8_t width) {
  ConfigWriter(function.config.bytes()).put<uint16_t>(express_capability + 0x12, link_active | link_word(speed, width));
}

void pci_capabilities_fill(const PciFunction& function, ConfigWriter& config) {
  bool physical = function.kind == FunctionKind::physical;
  bool link = function.speaks_for_link();
  const Capability standard[] = {
      {0x01, power_capability, function.has_power},
      {0x11, msix_capability, function.is_card()},
      {0x10, express_capability, true},
      {0x03, vpd_capability, function.has_vpd},
      {0x05, msi_capability, physical},
  };
  config.chain(standard);
  if (function.has_power) {
    config.put<uint16_t>(power_capability + 2, 0x0003);
    config.put<uint16_t>(power_capability + 4, function.power_state);
  }
  express_fill(function, config);

  const ExtendedCapability extended[] = {
      {0x0001, aer_capability, true},
      {0x0010, sriov_capability, physical},
      {0x000b, vendor_capability, function.is_card()},
      {0x000e, ari_capability, function.is_card()},
      {0x0019, secondary_capability, link},
      {0x0026, physical_16gt_capability, link},
      {0x0027, margining_capability, link},
      {0x000f, translation_capability, physical},
  };
  config.chain(extended);
  errors_fill(function.state, config);
  if (function.is_card()) {
    interrupts_fill(config);
    config.put<uint32_t>(vendor_capability + 4, 0x02010002);  // vendor-specific id 2, revision 1, 0x20 bytes
    config.put<uint16_t>(ari_capability + 4, link ? 0x0100 : 0);
  }
  if (physical) {
    sriov_fill(function, config);
    config.put<uint16_t>(translation_capability + 6, 0x8000);
  }
  if (link) {
    link_fill(function.state, config);
  }
}

}  // namespace vcard
