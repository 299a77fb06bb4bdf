// The device of a maintenance command, as the channels to the card see it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/mmio.h"
#include "common/unique_fd.h"

/// How the device word of the command line reaches the card.
enum kxtool_access_mode : uint8_t {
  KXTOOL_ACCESS_NONE = 0,  ///< the word is neither of the two
  KXTOOL_ACCESS_NIC = 1,   ///< name of a network interface: requests go through the kernel driver
  KXTOOL_ACCESS_BDF = 2,   ///< PCI address: requests go through the mailbox in BAR 0
};

/// Classifies a device word: exactly two ':' and one '.' is a PCI address, neither ':' nor '.' an interface name.
kxtool_access_mode kxtool_bdf_or_nic_type(const char* word);

inline constexpr uint32_t KXTOOL_IF_NAME_MAX = 15;  ///< longest interface name

/// The interface request block of the private ioctl.
struct kxtool_ifreq {
  char name[KXTOOL_IF_NAME_MAX + 1];
  void* data;  ///< the tools_msg
  uint8_t reserved[16];
};
static_assert(sizeof(kxtool_ifreq) == 40 && offsetof(kxtool_ifreq, data) == 16);

/// One in a process; lives in the command state. The command's thread fills it before the receive thread starts; later
/// only tarn_bc_exit changes it, under the receive thread's lock.
struct kxtool_device {
  kxtool_access_mode access_mode = KXTOOL_ACCESS_NONE;
  const char* name = nullptr;  ///< the device word
  char sbdf_text[13] = {};     ///< PCI address of the function, in both modes
  uint32_t sbdf = 0xFFFFFFFF;
  uint32_t os_type = 0;  ///< what the card's processor runs, told by it when the channel came up

  // Interface name: sockets to the kernel driver.
  kxtool_ifreq ifreq = {};
  kx_unique_fd ioctl_socket;
  kx_unique_fd netlink_socket;
  uint32_t event_pid = 0;  ///< names this process in the driver's event registration and on the netlink bus

  // PCI address: BAR 0 and where the mailbox area begins in it.
  kx_mmio_region bar;
  uint32_t bar_offset = 0;
};
