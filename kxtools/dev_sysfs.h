// What the kernel's device directories say about a function, as far as binding needs it.
#pragma once

#include <cstdint>

#include "kxtools/dev.h"

/// The start and length of one BAR.
struct kxtools_bar_range {
  uint64_t start;
  uint64_t size;
};

/// Reads line `bar_index` of a "resource" file. Returns 0, or -1 with a message.
int32_t kxtools_resource_bar_read(const char* path, uint32_t bar_index, kxtools_bar_range* range);

enum class kxtools_uevent_result { found, no_file, no_slot };

/// Reads the first line of an "uevent" file that gives a PCI slot: up to 12 characters of its value and a terminator.
kxtools_uevent_result kxtools_uevent_slot_read(const char* path, char (&slot)[13]);

/// True when the function is a port of the card's own switch; silent.
bool kxtools_is_own_switch(kxtools_sbdf sbdf);

/// True when the files "vendor" and "device" of a function's folder are those of a supported card function; silent.
bool kxtools_folder_is_supported(const char* folder);

/// True when `word` can be the name of a network interface and of nothing else in a path: 1 to 15 characters, no '/',
/// not "." or "..".
bool kxtools_is_interface_name(const char* word);
