// Link registers of the PCI Express capability, from its offset.
#pragma once

#include <cstdint>

inline constexpr uint32_t EXPRESS_CAPABILITIES = 0x02;
inline constexpr uint32_t LINK_CAPABILITIES = 0x0C;
inline constexpr uint32_t LINK_CONTROL = 0x10;
inline constexpr uint32_t LINK_STATUS = 0x12;
inline constexpr uint32_t LINK_CAPABILITIES_2 = 0x2C;
inline constexpr uint32_t LINK_CONTROL_2 = 0x30;
inline constexpr uint32_t LINK_STATUS_2 = 0x32;

inline constexpr uint16_t LINK_CONTROL_ASPM = 3;
inline constexpr uint16_t LINK_CONTROL_RETRAIN = 1u << 5;
inline constexpr uint16_t LINK_CONTROL_NO_WIDTH_CHANGE = 1u << 9;
inline constexpr uint16_t LINK_CONTROL_2_NO_SPEED_CHANGE = 1u << 5;
inline constexpr uint16_t LINK_STATUS_TRAINING = 1u << 11;
inline constexpr uint16_t LINK_STATUS_ACTIVE = 1u << 13;

constexpr uint32_t kxpcie_link_speed(uint32_t link_register) {
  return link_register & 0xF;
}
/// Lanes, 0 when the link is down.
constexpr uint32_t kxpcie_link_width(uint32_t link_register) {
  return link_register >> 4 & 0x3F;
}

inline constexpr uint32_t LINK_SPEED_16GT = 4;
inline constexpr uint32_t LINK_SPEED_32GT = 5;
