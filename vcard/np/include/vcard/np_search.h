// The searches of the network processor, run on what stands in its tables.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <vector>

#include "vcard/np_tables.h"

namespace vcard {

/// How a hash engine of the chip is set up to look a key of one table up.
struct NpHashSetup {
  struct Zcell {
    uint32_t zblock;
    uint32_t cell;
  };
  std::vector<Zcell> zcells;                // in search order
  std::map<uint32_t, uint32_t> polynomial;  // of each zblock
  uint32_t engine = 0;
  uint32_t table = 0;
  std::optional<uint32_t> ddr_base;  // spill area, in units of 4 KiB
  uint32_t ddr_items = 0;
};

/// The result stored with a key, `result_length` bytes of it.
std::optional<std::vector<uint8_t>> np_hash_search(NpTables& tables, const NpHashSetup& setup,
                                                   std::span<const uint8_t> key, size_t result_length);

/// The result of the longest route that covers an address in the area at `base` (units of 4 KiB).
std::optional<uint32_t> np_lpm_search(NpTables& tables, uint32_t base, std::span<const uint8_t> address);

}  // namespace vcard
