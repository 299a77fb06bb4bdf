// Device memory: the only way in which the tool touches a mapped BAR. Accesses are aligned, of the width that the wire
// needs, never merged, split or repeated by the compiler. What follows a read comes after it; a write that must come
// after others needs qlix_comm_order_words_before_ready() in front of it.
#pragma once

#include <cstdint>

#include "common/device_memory.h"
#include "qlix_comm/device_order.h"

/// A mapped BAR or a part of one: `size` bytes of device memory at `base`. It owns nothing.
struct kx_mmio_region {
  volatile uint8_t* base = nullptr;
  uint64_t size = 0;

  /// True when `length` bytes at `offset` lie inside the region.
  bool holds(uint64_t offset, uint64_t length) const {
    return base != nullptr && offset <= size && length <= size - offset;
  }
  /// The part of the region from `offset` on; empty when the region ends before.
  kx_mmio_region from(uint64_t offset) const {
    return holds(offset, 0) ? kx_mmio_region{base + offset, size - offset} : kx_mmio_region{};
  }
};

/// True when the region was taken away: what is read is all ones, what is written goes nowhere.
inline bool kx_mmio_is_lost(const kx_mmio_region& region) {
  return kx_device_memory_losses.load(std::memory_order_relaxed) != 0 && kx_device_memory_is_lost(region.base);
}

// REQUIRES for all: the offset is a multiple of the width and region.holds(offset, width).
inline uint32_t kx_mmio_read32(const kx_mmio_region& region, uint64_t offset) {
  const uint32_t value = *reinterpret_cast<const volatile uint32_t*>(region.base + offset);
  qlix_comm_order_completion_before_data();
  return kx_mmio_is_lost(region) ? UINT32_MAX : value;
}

inline void kx_mmio_write32(const kx_mmio_region& region, uint64_t offset, uint32_t value) {
  // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): what is required keeps it from an empty region
  *reinterpret_cast<volatile uint32_t*>(region.base + offset) = value;
}

inline uint8_t kx_mmio_read8(const kx_mmio_region& region, uint64_t offset) {
  const uint8_t value = region.base[offset];
  qlix_comm_order_completion_before_data();
  return kx_mmio_is_lost(region) ? UINT8_MAX : value;
}

inline void kx_mmio_write8(const kx_mmio_region& region, uint64_t offset, uint8_t value) {
  region.base[offset] = value;
}

inline void kx_mmio_write16(const kx_mmio_region& region, uint64_t offset, uint16_t value) {
  *reinterpret_cast<volatile uint16_t*>(region.base + offset) = value;
}
