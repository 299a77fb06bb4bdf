// The private view of the file system in which the command runs.
#pragma once

#include <string>

namespace vcard {

inline constexpr const char* pci_bus_folder = "/sys/bus/pci";
inline constexpr const char* net_class_folder = "/sys/class/net";
inline constexpr const char* run_lock_folder = "/tmp/kxtool";
inline constexpr const char* pcie_lock_folder = "/tmp/kx_pcie";
inline constexpr const char* log_folder = "/var/log";

/// Moves this process into a mount namespace of its own (a user namespace first when it is not root) and puts empty
/// folders in memory over the five folders above. With a `state` folder the lock folders and the log folder are
/// state/tmp/kxtool, state/tmp/kx_pcie and state/log instead, which outlive the run. The mount points exist already.
/// 0, or an exit status after its line.
int sandbox_enter(const std::string& state);

}  // namespace vcard
