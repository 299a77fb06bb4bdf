// PCI addresses and their text.
#pragma once

#include <cstdint>

/// A PCI address: segment in the upper 16 bits, then bus (8), device (5) and function (3).
using kxtools_sbdf = uint32_t;
inline constexpr kxtools_sbdf KXTOOLS_SBDF_NONE = 0xFFFFFFFF;

constexpr uint32_t kxtools_sbdf_segment(kxtools_sbdf sbdf) {
  return sbdf >> 16;
}
constexpr uint32_t kxtools_sbdf_bus(kxtools_sbdf sbdf) {
  return (sbdf >> 8) & 0xFF;
}
constexpr uint32_t kxtools_sbdf_device(kxtools_sbdf sbdf) {
  return (sbdf >> 3) & 0x1F;
}
constexpr uint32_t kxtools_sbdf_function(kxtools_sbdf sbdf) {
  return sbdf & 7;
}

/// Reads "ssss:bb:dd.f". Returns 0 or -1.
int32_t pcie_sbdf_parse(kxtools_sbdf* sbdf, const char* text);
/// The same without a message. False leaves `sbdf` as it was.
bool kxtools_sbdf_read(const char* text, kxtools_sbdf* sbdf);
/// True for the text of a PCI address whose segment needs more than the 16 bits that a kxtools_sbdf has for it, as the
/// kernel gives to functions behind some controllers. Nothing can be done with such a function but to name it.
bool kxtools_sbdf_is_too_long(const char* text);

/// The text of an address, such as "0000:3b:00.0".
struct kxtools_sbdf_name {
  char text[13];
};
kxtools_sbdf_name kxtools_sbdf_text(kxtools_sbdf sbdf);

/// True for an address without its segment, "bb:dd.f", as other tools print the addresses of segment 0; no interface
/// can be called so.
bool kxtools_is_short_address(const char* word);
