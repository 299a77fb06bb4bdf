// Filling a configuration space.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vcard {

struct PciFunction;

struct Capability {
  uint8_t id;
  uint8_t offset;
  bool present;
};

struct ExtendedCapability {
  uint16_t id;
  uint16_t offset;
  bool present;
};

class ConfigWriter {
 public:
  explicit ConfigWriter(std::span<uint8_t> bytes) : bytes_(bytes) {}
  template <typename T>
  void put(size_t offset, T value) {
    for (size_t i = 0; i < sizeof(T); ++i) {
      bytes_[offset + i] = static_cast<uint8_t>(value >> (8 * i));
    }
  }
  void chain(std::span<const Capability> list) {
    size_t link = 0x34;
    for (const Capability& capability : list) {
      if (capability.present) {
        bytes_[link] = capability.offset;
        bytes_[capability.offset] = capability.id;
        link = capability.offset + 1u;
      }
    }
  }
  void chain(std::span<const ExtendedCapability> list) {
    size_t previous = 0;
    for (const ExtendedCapability& capability : list) {
      if (!capability.present) {
        continue;
      }
      put<uint32_t>(capability.offset, 1u << 16 | capability.id);
      if (previous != 0) {
        put<uint16_t>(previous + 2, static_cast<uint16_t>(capability.offset << 4 | 1));
      }
      previous = capability.offset;
    }
  }

 private:
  std::span<uint8_t> bytes_;
};

/// Capabilities and their contents.
void pci_capabilities_fill(const PciFunction& function, ConfigWriter& config);

}  // namespace vcard
