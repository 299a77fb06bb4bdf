#include "dpp_chip/dpp_dev.h"

// The only two accesses to mapped device memory in the driver: aligned 32-bit, never merged, split or moved past each
// other by the compiler. Device addresses travel as numbers, so this is also the only place that makes them pointers.

void dpp_pci_write32(uint64_t abs_addr, uint32_t value) {
  __atomic_thread_fence(__ATOMIC_RELEASE);
  *reinterpret_cast<volatile uint32_t*>(abs_addr) = value;  // NOLINT(performance-no-int-to-ptr)
}

uint32_t dpp_pci_read32(uint64_t abs_addr) {
  const uint32_t value = *reinterpret_cast<const volatile uint32_t*>(abs_addr);  // NOLINT(performance-no-int-to-ptr)
  __atomic_thread_fence(__ATOMIC_ACQUIRE);
  return value;
}
