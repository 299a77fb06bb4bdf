// A device whose raw hooks end in memory: words by address, all plain. Indirect windows finish at once and read what
// their data words hold. What registers do and what lies behind windows is the virtual card's (card_device.h).
#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "dpp_chip/dpp_dev.h"

namespace np_test {

/// The status words of the two windows that the register layer drives itself.
inline constexpr uint32_t ALG_STATUS = 0x280000;
inline constexpr uint32_t TM_STATUS = 0x102000;

struct memory_device {
  std::map<uint32_t, uint32_t> words;
  std::vector<std::pair<uint32_t, uint32_t>> writes;  // address and value of every word written, in order
  uint32_t reads = 0;
  uint32_t fail_code = 0;            // returned in place of every access
  uint32_t good_reads = UINT32_MAX;  // reads after which every further one fails with code 1
  bool record = true;
};

/// The memory behind the device that dpp_dev_add was given these hooks for.
memory_device& memory();

uint32_t memory_write(uint32_t dev_id, uint32_t addr, uint32_t word_count, const uint32_t* data);
uint32_t memory_read(uint32_t dev_id, uint32_t addr, uint32_t word_count, uint32_t* data);

/// Device `dev_id` on fresh memory, both access paths, no agent mode, print settings as at the start.
void memory_device_add(uint32_t dev_id, uint32_t access_type = DPP_DEV_ACCESS_TYPE_PCIE);

}  // namespace np_test
