// Registers in card memory by their description: one reader for everything that shows them.
#pragma once

#include <cstdint>

#include "common/register_description.h"

/// Card address of a register of a block at `base`; `index` counts for arrays, `layout` is 0 (older) or 1.
constexpr uint64_t card_register_address(uint64_t base, const kx_register_description& row, uint64_t index = 0,
                                         uint32_t layout = 0) {
  return base + row.offset[layout] + row.stride[layout] * index;
}

/// Reads a register of 16, 32 or 64 bits. One of 16 bits whose address is no multiple of 4 is the upper half of the
/// word at `address` - 2. Of one of 64 bits the low word is read first; when it `counts`, a third access sees to it
/// that its halves fit together. Returns 0, or -1 when the card cannot be reached.
int32_t card_register_read(uint64_t address, uint32_t width, uint64_t* value, bool counts = false);

/// What of a write was refused.
enum class card_write { done, lock, read, low, high };
/// Writes a register of 16, 32 or 64 bits, the low word first. The other half of the word of a 16-bit register stays as
/// it is, whatever other tools write meanwhile.
card_write card_register_write(uint64_t address, uint32_t width, uint64_t value);
