// Which system calls of the command the virtual card wants to see, and which it refuses: one table, from which the
// kernel's filter is made and which is looked up where the kernel has none.
#pragma once

#include <linux/filter.h>

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace vcard {

/// What is written to a file that makes the kernel do something: "1", with or without a newline.
inline constexpr uint32_t control_text_max = 2;
inline constexpr uint32_t driver_ioctl_request = 0x89fd;
inline constexpr uint32_t ethtool_ioctl_request = 0x8946;

/// Holds when the low 32 bits of an argument are `value` under `mask`; a mask of 0 always holds.
struct CallCondition {
  uint8_t argument = 0;
  uint32_t mask = 0;
  uint32_t value = 0;
};

struct CallRule {
  long number;
  int error = 0;  // refused with it; 0: the call is caught
  std::array<CallCondition, 2> conditions = {};
};

/// The first rule that holds decides; a call without one goes on to the kernel.
struct CallRules {
  std::vector<CallRule> rules;
  /// Calls of another architecture, and those that are newer than this table, are refused with ENOSYS.
  bool closed = false;

  /// The rule of a call, null when it has none.
  const CallRule* find(long number, std::span<const uint64_t> arguments) const;
  /// The error with which a closed table refuses the call of a number that it does not know; 0: it knows it.
  int unknown_error(long number) const;
  /// The filter that gives caught calls `caught` (SECCOMP_RET_...).
  std::vector<sock_filter> filter(uint32_t caught) const;
};

/// The calls that are caught in every room: driver and ethtool ioctl, generic netlink socket, bind with a netlink
/// address, connect, which may be to the system's log, and the shared mapping of a file, which may be BAR 0.
CallRules wire_rules();

}  // namespace vcard
