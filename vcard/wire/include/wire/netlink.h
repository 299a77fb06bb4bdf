// The generic netlink side of the kernel driver: the controller that resolves the family name, and the family
// "tools_family" that carries notices. A netlink socket of the command is one end of a socket pair; the card has the
// other.
#pragma once

#include <poll.h>

#include <vector>

#include "host/trapped_call.h"
#include "host/unique_fd.h"
#include "vcard/card.h"

namespace vcard {

/// Runs on the thread that receives trapped calls; notices may come from the card thread. Every public function but the
/// constructor must be called with the card's lock held. Reads faults.netlink.
class NetlinkWire {
 public:
  explicit NetlinkWire(Card& card);

  /// Answers socket(AF_NETLINK, SOCK_RAW, NETLINK_GENERIC).
  void open_socket(TrappedCall& call);
  /// Answers bind with a netlink address; calls for other sockets go on to the kernel.
  void bind_socket(TrappedCall& call);

  /// Adds the card's ends to a poll set, and handles those that became ready.
  void poll_add(std::vector<struct pollfd>& set) const;
  void poll_handle(const std::vector<struct pollfd>& set);

  /// Sends a notice to the socket bound to `port`. False while there is none that has resolved the family.
  bool send_notice(uint32_t port, ByteView payload);

 private:
  struct Socket {
    UniqueFd card_end;
    std::string target;  // "socket:[inode]" of the command's end
    pid_t process = 0;
    bool bound = false;
    uint32_t port = 0;
    bool resolved = false;
  };
  void request_handle(Socket& socket, ByteView message);
  Bytes family_answer(const Socket& socket, ByteView request) const;
  Bytes notice_message(uint32_t port, ByteView payload) const;

  Card& card_;
  std::vector<Socket> sockets_;
  uint16_t family_id_;
  uint16_t notice_family_id_;
  size_t family_fault_;
  size_t notice_fault_;
  uint32_t notice_fault_from_;
  uint32_t notices_ = 0;  // sent
  int bind_errno_;        // 0: none
};

}  // namespace vcard
