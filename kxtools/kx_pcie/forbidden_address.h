// The address check of access mode 0.
#pragma once

#include <cstdint>

/// True when the word at `address` of card memory must not be touched: it is no aligned word, lies outside of the
/// card's 44-bit address space, or lies in a range of forbidden_ranges.inc.
bool pcie_address_is_forbidden(uint64_t address);
