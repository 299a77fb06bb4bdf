// The function's BARs: what they are, and a window into one of them. Nothing is probed: sizes come from the kernel.
#pragma once

#include <cstdint>

#include "common/mmio.h"
#include "target.h"

inline constexpr uint32_t KXPCIE_BARS = 6;

struct kxpcie_bar {
  bool present;
  bool io;  ///< an I/O BAR, which cannot be mapped
  bool is_64_bit;
  bool prefetchable;
  uint64_t address;
  uint64_t size;
};

/// Describes one of the six BARs; the upper half of a 64-bit BAR is not present.
kxpcie_bar kxpcie_bar_get(kxpcie_target& target, uint32_t index);

/// Maps no more of a BAR than a command touches, and for reading only unless it writes.
class kxpcie_bar_window {
 public:
  /// `length` bytes at `offset`, both multiples of 4. False when they cannot be had, also when they do not lie inside.
  bool open(kxpcie_target& target, uint32_t index, uint64_t offset, uint64_t length, bool write);
  /// The bytes asked for, from 0 on.
  const kx_mmio_region& region() const {
    return region_;
  }

 private:
  kx_device_mapping mapping_;
  kx_mmio_region region_;
};
