// Product data: the standard's list of tagged resources.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

enum class kxpcie_vpd_end : uint8_t {
  whole,      ///< the end tag was met
  cut,        ///< the bytes end before the end tag
  malformed,  ///< a tag that the standard does not have, or a field beyond its resource
};

/// How many of `bytes` the list needs, its end tag included; more than `bytes` holds when it goes on behind them, never
/// less than what is needed to go on. Malformed data needs what has been read.
size_t kxpcie_vpd_length(std::span<const uint8_t> bytes);

/// Writes every field, one a line; what does not print becomes '?'. Fields in front of a mistake are written.
kxpcie_vpd_end kxpcie_vpd_write(FILE* out, std::span<const uint8_t> bytes);
