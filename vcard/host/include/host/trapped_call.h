// System calls of the command and its descendants that the virtual card answers in the kernel's place.
//
// A seccomp filter hands over five calls: ioctl 0x89fd, ioctl 0x8946, a generic netlink socket, bind with a netlink
// address, and the shared mapping of a file.
// While a call is with the card, its thread waits in the kernel; its memory is read and written through
// process_vm_readv and process_vm_writev, always checked against a thread that died meanwhile and a number that was
// given out anew.
#pragma once

#include <linux/seccomp.h>
#include <sys/types.h>

#include <cstdint>
#include <initializer_list>
#include <string>

#include "host/unique_fd.h"
#include "vcard/bytes.h"

namespace vcard {

inline constexpr uint32_t driver_ioctl_request = 0x89fd;
inline constexpr uint32_t ethtool_ioctl_request = 0x8946;

/// Installs the filter for the calling process and returns its listener, or -1 with errno. Needs PR_SET_NO_NEW_PRIVS.
int call_filter_install();

class TrappedCall {
 public:
  enum class Kind : uint8_t { driver_ioctl, ethtool_ioctl, netlink_socket, netlink_bind, file_mapping };

  /// Takes the next call from `listener`. False when it is gone already.
  bool receive(int listener);

  Kind kind() const;
  /// The thread that made the call, and its process.
  pid_t thread() const {
    return static_cast<pid_t>(notification_.pid);
  }
  pid_t process() const;
  uint64_t argument(size_t index) const {
    return notification_.data.args[index];
  }
  /// The target of the caller's descriptor ("socket:[123]"), empty when it is not open.
  std::string descriptor_target(int fd) const;

  /// The caller's memory. False when the address is not the caller's, or the caller is gone.
  bool read(uint64_t address, void* data, size_t size) const;
  /// A read that another one follows: what it brought counts only once a read() has succeeded after it.
  bool peek(uint64_t address, void* data, size_t size) const;
  struct Piece {
    uint64_t address;
    ByteView data;
  };
  static constexpr size_t most_pieces = 4;
  /// All pieces, in order; a piece may be empty.
  bool write(std::initializer_list<Piece> pieces) const;

  /// Exactly one of these ends the call; a call that gets none stays blocked until its thread is killed.
  void finish(int64_t value) const;
  void fail(int error) const;
  void pass_on() const;
  /// Puts `fd` into the caller's table and returns its number there.
  void finish_with_descriptor(int fd, bool close_on_exec) const;

 private:
  bool is_alive() const;
  void answer(int64_t value, int error, uint32_t flags) const;

  int listener_ = -1;
  struct seccomp_notif notification_ = {};
};

}  // namespace vcard
