// BAR 0: its mapping, and the process-wide record of the bound function.
#pragma once

#include <cstdint>

#include "common/mmio.h"
#include "device/address.h"

inline constexpr uint64_t KXTOOLS_BAR_SIZE_MAX = 0x40000000;  ///< at most the first GiB of BAR 0 is mapped

/// The device record: copied into every command context. It owns nothing; whoever maps unmaps.
struct kxtools_dev_info {
  char sbdf[13];                ///< "%04x:%02x:%02x.%01x", empty when nothing is bound
  uint64_t bar_addr;            ///< physical start of BAR 0
  volatile uint8_t* bar_vaddr;  ///< where BAR 0 is mapped in this process; null when it is not
  uint64_t bar_size;            ///< mapped length: the BAR's, at most KXTOOLS_BAR_SIZE_MAX
};

inline kx_mmio_region kxtools_dev_bar(const kxtools_dev_info& info) {
  return {info.bar_vaddr, info.bar_vaddr == nullptr ? 0 : info.bar_size};
}

/// What BAR 0 is mapped for.
enum class kxtools_bar_use : uint8_t {
  all,     ///< without the mapping nothing goes
  record,  ///< only for the compatibility record: a BAR that the kernel keeps for the driver is left out
  look,    ///< for reading alone
};

/// Fills `info` for a function and maps its BAR 0; the caller unmaps it. Returns 0, or -1 with a message and, on
/// standard error, the reason and what helps. With `record` a BAR that the kernel lets no program map is no failure:
/// `bar_vaddr` is null, and a line on standard error says what goes unchecked.
int32_t kxtools_dev_info_set(kxtools_sbdf sbdf, kxtools_dev_info* info, kxtools_bar_use use = kxtools_bar_use::all);
int32_t kxtools_dev_mmap(const char* sbdf_text, volatile uint8_t** address, uint64_t length);
int32_t kxtools_dev_unmmap(volatile uint8_t* address, uint64_t length);

// The record of the function that this process works on, which card memory and the modules use.

/// Empties the record, fills it as kxtools_dev_info_set does (a failure leaves it as it was), copies it out. Return 0,
/// or -1 with a message. The mapping of a function that was bound before stays: its users may still hold it.
int32_t kxtools_dev_info_init();
int32_t kxtools_dev_info_bind(kxtools_sbdf sbdf, kxtools_bar_use use = kxtools_bar_use::all);
int32_t kxtools_dev_info_get(kxtools_dev_info* info);
