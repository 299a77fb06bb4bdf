// The kernel driver "corvane10e" of the card's interfaces: the private ioctl that carries requests, and the
// registration of the one tool that gets an interface's notices.
#pragma once

#include <string>
#include <vector>

#include "host/trapped_call.h"
#include "host/unique_fd.h"
#include "vcard/card.h"
#include "vcard/fault_range.h"
#include "wire/netlink.h"

namespace vcard {

/// Must be called with the card's lock held. Reads the section "driver" and faults.driver.
class DriverWire {
 public:
  DriverWire(Card& card, NetlinkWire& netlink);

  /// Answers one trapped ioctl.
  void handle(TrappedCall& call);

 private:
  struct Message;
  struct Fault {
    bool any_type;
    uint32_t type;
    FaultRange range;
    bool never_answers;
    int error;
    bool has_status_flag;
    uint32_t status_flag;
    bool has_result;
    int32_t result;
  };
  struct Registration {
    std::string interface;
    uint32_t pid;
    UniqueFd process;  // readable when the process has ended
  };
  /// How an exchange ended: an errno, or status flag and channel result. Nothing is said when `silent`.
  struct Outcome {
    bool silent = false;
    int error = 0;
    uint32_t status_flag = 1;
    int32_t result = 0;
    Bytes reply;
  };

  void load_faults(const CardSection& section);
  Fault* fault_of(uint32_t type);
  bool is_socket(const TrappedCall& call);
  int interface_error(const std::string& name) const;
  Outcome run(const TrappedCall& call, const std::string& interface, const Message& message);
  Outcome register_tool(const TrappedCall& call, const std::string& interface, const Message& message);
  Outcome forward(const Message& message);
  bool write_outcome(const TrappedCall& call, const Message& message, Outcome& outcome);

  Card& card_;
  NetlinkWire& netlink_;
  bool compat_present_;
  Bytes compat_;
  uint32_t check_word_;
  std::vector<Fault> faults_;
  std::vector<Registration> registrations_;
  pid_t last_thread_ = -1;
  int last_socket_ = -1;
};

}  // namespace vcard
