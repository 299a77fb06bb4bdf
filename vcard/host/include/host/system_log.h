// The system's log as the command finds it: what it sends to /dev/log goes into the request log and never to the
// host's.
#pragma once

#include <poll.h>

#include <string_view>
#include <vector>

#include "host/trapped_call.h"
#include "host/unique_fd.h"
#include "vcard/request_log.h"

namespace vcard {

/// Runs on the thread that receives trapped calls.
class SystemLog {
 public:
  explicit SystemLog(RequestLog& log) : log_(log) {}

  /// Answers connect when its address is the system's log; calls with other addresses go on to the kernel.
  void connect(TrappedCall& call);
  /// Adds the sockets of those that have connected to a poll set.
  void poll_add(std::vector<struct pollfd>& set) const;
  /// Takes what has arrived.
  void take();

 private:
  void line_take(std::string_view message);

  RequestLog& log_;
  std::vector<UniqueFd> writers_;
};

}  // namespace vcard
