// The user's choice from the device list.
#pragma once

#include <cstdint>
#include <cstdio>

enum class kxtools_index_result {
  index,    ///< a number was read
  quit,     ///< the user chose none
  refused,  ///< three lines were no index
  end,      ///< the input ended
};

/// Prints the device list of the PCIe module between two rules.
void kxtools_device_list_print();

/// Asks for an index and reads lines from `in` until one is a decimal number of at most 8 digits or "q", three were
/// neither, or the input ends. It takes no character beyond the last line's newline. A line typed ahead is an answer
/// too, so that pasted lines may choose a device: the choice changes nothing on the card.
kxtools_index_result kxtools_index_read(FILE* in, uint32_t* index);
