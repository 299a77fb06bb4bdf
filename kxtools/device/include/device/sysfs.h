// Readers of the kernel's folders, one for each kind of file. All but that of "resource" are silent.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "device/address.h"

inline constexpr const char* KXTOOLS_PCI_DEVICES = "/sys/bus/pci/devices";
inline constexpr const char* KXTOOLS_NET_CLASS = "/sys/class/net";

/// Path of a function's folder; with a `file`, of that file in it.
std::string kxtools_function_path(kxtools_sbdf sbdf, const char* file = nullptr);

/// At most the first 16 KiB of a file, four times what the kernel shows in one; nothing when it cannot be read.
std::string kxtools_file_text(const std::string& path);
/// Its first line, without the newline.
std::string kxtools_file_line(const std::string& path);

enum class kxtools_file_state : uint8_t { read, absent, unreadable };
/// A file that holds one hexadecimal number.
kxtools_file_state kxtools_hex_file_read(const std::string& path, uint32_t* value);

/// Where a link leads, as it stands in it; "" when there is none.
std::string kxtools_link_target(const std::string& path);
/// The last part of it.
std::string kxtools_link_name(const std::string& path);

/// The names in a folder in its own order, without those that begin with a dot. False when it cannot be read.
bool kxtools_folder_names(const char* path, std::vector<std::string>* names);

enum class kxtools_uevent_result { found, no_file, no_slot };
/// Reads the first line of an "uevent" file that gives a PCI slot: up to 12 characters of its value and a terminator.
kxtools_uevent_result kxtools_uevent_slot_read(const std::string& path, char (&slot)[13]);

/// The start and length of one BAR.
struct kxtools_bar_range {
  uint64_t start;
  uint64_t size;
};
/// Reads line `bar_index` of a "resource" file. Returns 0, or -1 with a message.
int32_t kxtools_resource_bar_read(const std::string& path, uint32_t bar_index, kxtools_bar_range* range);
