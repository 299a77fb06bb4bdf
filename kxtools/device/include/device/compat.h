// Compatibility versions: the card's firmware publishes one small record for each command module in BAR 0, and a
// firmware feature word. A command that was built against an interface which the firmware does not offer is refused.
#pragma once

#include <cstdint>

#include "common/mmio.h"

inline constexpr uint32_t KXTOOLS_COMPAT_NUM = 10;  ///< records, ids 0 to 9

/// Compatibility ids of the modules.
enum kxtools_compat_id : uint32_t {
  KXTOOLS_COMPAT_KXRDMA = 0,
  KXTOOLS_COMPAT_KXTOOL = 1,
  KXTOOLS_COMPAT_KXBTTL = 2,
  KXTOOLS_COMPAT_KXNP = 3,
  KXTOOLS_COMPAT_KXTRACE_APP = 4,
  KXTOOLS_COMPAT_KXVQM = 5,
  KXTOOLS_COMPAT_KXPCIE = 6,
};

/// One record as the card publishes it (little-endian, 8 bytes at BAR 0 offset 0x5400 + 8 * id).
struct kxtools_compat_record {
  uint8_t item;  ///< id + 1 when the record is present
  uint8_t major;
  uint8_t fw_minor;
  uint8_t drv_minor;
  uint16_t detail;  ///< not interpreted
  uint16_t reserved;
};
static_assert(sizeof(kxtools_compat_record) == 8);

/// Sets the ten cached records to their defaults (item = id + 1, rest 0) and the feature word to 0. Returns 0.
int32_t kxtools_compat_info_init();
/// Reads all ten records and the feature word of the bound device into the cache. Returns 0 or -1.
int32_t kxtools_compat_version_init();

// Readers of a mapped BAR 0; each returns 0, or -1 with a message (also when the BAR is too small for the record).
int32_t kxtools_compat_version_read(uint32_t id, const kx_mmio_region* bar, kxtools_compat_record* record);
int32_t kxtools_compat_version_if_exist(uint32_t id, const kx_mmio_region* bar, uint32_t* flag);
int32_t kxtools_fw_feature_read(const kx_mmio_region* bar, uint64_t* word);

/// Copy the cache: ten records, the feature word. Return 0 or -1.
int32_t kxtools_compat_version_get(kxtools_compat_record* compat);
int32_t kxtools_fw_feature_get(uint64_t* fw_feature);

/// Compares the three version bytes of a command with the record of `compat_id` by the rules of the dispatcher's gate.
/// Returns 0, or -1 with a message that carries the caller's name and line. Also used by the PCIe bind for its module.
int32_t kxtools_compat_record_check(uint32_t compat_id, const kxtools_compat_record& record, uint8_t major,
                                    uint8_t fw_minor, uint8_t drv_minor, const char* function = __builtin_FUNCTION(),
                                    int line = __builtin_LINE());

/// Always 1: the modules' byte order.
uint32_t kxtools_is_big_endian();
/// `value` with its four bytes reversed.
uint32_t kxtools_byte_switch(uint32_t value);
