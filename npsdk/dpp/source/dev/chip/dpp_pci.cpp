#include "dpp_chip/dpp_dev.h"

// The only two accesses to mapped device memory in the driver: aligned 32-bit, never merged, split or moved past each
// other by the compiler. Device addresses travel as numbers, so this is also the only place that makes them pointers.

void dpp_pci_write32(uint64_t abs_addr, uint32_t value) {
  auto* place = reinterpret_cast<volatile uint32_t*>(abs_addr);  // NOLINT(performance-no-int-to-ptr)
  __atomic_store_n(place, value, __ATOMIC_RELEASE);
}

uint32_t dpp_pci_read32(uint64_t abs_addr) {
  const auto* place = reinterpret_cast<const volatile uint32_t*>(abs_addr);  // NOLINT(performance-no-int-to-ptr)
  return __atomic_load_n(place, __ATOMIC_ACQUIRE);
}
