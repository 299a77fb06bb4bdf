// Rooms: how the command comes to see the card's files in the places where the kernel would show them.
//
//   mount  a mount namespace in which the card's folders lie over the host's
//   user   a user namespace first, for whoever may not mount
//   paths  no namespace: the command's calls that name a path are caught, and answered from the card's own tree
#pragma once

#include <memory>
#include <string>

#include "host/call_rules.h"
#include "host/trapped_call.h"

namespace vcard {

inline constexpr const char* pci_bus_folder = "/sys/bus/pci";
inline constexpr const char* net_class_folder = "/sys/class/net";
inline constexpr const char* run_lock_folder = "/tmp/kxtool";
inline constexpr const char* pcie_lock_folder = "/tmp/kx_pcie";
inline constexpr const char* log_folder = "/var/log";

class Room {
 public:
  virtual ~Room() = default;
  Room(const Room&) = delete;
  Room& operator=(const Room&) = delete;

  /// Moves this process into the room and makes its empty folders. With a `state` folder the lock folders and the log
  /// folder are state/tmp/kxtool, state/tmp/kx_pcie and state/log, which exist and outlive the run.
  /// Empty, or why the host does not allow it: then this process can only end.
  virtual std::string enter(const std::string& state) = 0;
  /// What stands before the path of a file of the card, as this process names it.
  virtual std::string root() const {
    return "";
  }
  /// The calls that must be caught: the wires, and what the room itself answers.
  virtual const CallRules& rules() const = 0;
  /// Answers a caught call that is no wire. The calls of a room without such calls go on to the kernel.
  virtual void handle(TrappedCall& call) {
    call.pass_on();
  }

 protected:
  Room() = default;
};

std::unique_ptr<Room> mount_room();
std::unique_ptr<Room> user_room();
/// `folder` is an empty private folder.
std::unique_ptr<Room> paths_room(const std::string& folder);

}  // namespace vcard
