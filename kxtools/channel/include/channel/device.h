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

struct kxtool_device;
struct tools_msg;

/// A way to the card. What differs between the two of them stands here and nowhere else.
struct kxtool_wire {
  /// The way is the card's only one: it serves one command at a time.
  bool is_exclusive;
  /// Finds the PCI address of the device word. Returns 0, or -1 with a message.
  int32_t (*find)(const char* word, uint32_t* sbdf);
  /// Opens the way and makes the first exchange with the card's processor. False with a message.
  bool (*open)(kxtool_device* device);
  /// Sends a request of any event and waits for its reply; counts it. Returns as tarn_tools_send_msg.
  int32_t (*send)(kxtool_device* device, tools_msg* msg);
  /// Ends the receiver of notices and gives back what was opened; harmless without a channel.
  void (*close)(kxtool_device* device);
};
extern const kxtool_wire kxtool_driver_wire;   ///< the kernel driver's ioctl and netlink (driver.h)
extern const kxtool_wire kxtool_mailbox_wire;  ///< the mailbox in BAR 0 (bar_channel.h)

/// One in a process; lives in the command state. The command's thread fills it before the receive thread starts; later
/// only tarn_bc_exit changes it, under the receive thread's lock.
struct kxtool_device {
  const kxtool_wire* wire = nullptr;  ///< null for a command without a device
  const char* name = nullptr;         ///< the device word
  const char* interface = nullptr;    ///< the same when it names an interface; null when it is an address
  char sbdf_text[13] = {};            ///< PCI address of the function, in both modes
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
