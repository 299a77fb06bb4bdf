// A system call of the command or its descendants that the virtual card answers in the kernel's place.
//
// While a call is with the card its thread waits. Its memory is read and written from here, always checked against a
// thread that died meanwhile and a number that was given out anew.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>

#include "host/unique_fd.h"
#include "vcard/bytes.h"

namespace vcard {

class TrappedCall {
 public:
  virtual ~TrappedCall() = default;
  TrappedCall(const TrappedCall&) = delete;
  TrappedCall& operator=(const TrappedCall&) = delete;

  long number() const {
    return number_;
  }
  /// The thread that made the call, and its process.
  pid_t thread() const {
    return thread_;
  }
  pid_t process() const;
  uint64_t argument(size_t index) const {
    return arguments_[index];
  }
  /// The target of the caller's descriptor ("socket:[123]"), empty when it is not open.
  std::string descriptor_target(int fd) const;

  /// The caller's memory. False when the address is not the caller's, or the caller is gone.
  bool read(uint64_t address, void* data, size_t size) const;
  /// A read that another one follows: what it brought counts only once a read() has succeeded after it.
  bool peek(uint64_t address, void* data, size_t size) const;
  /// A text with its end, of at most `limit` bytes. 0 or errno.
  int read_text(uint64_t address, size_t limit, std::string& text) const;
  struct Piece {
    uint64_t address;
    ByteView data;
  };
  static constexpr size_t most_pieces = 4;
  /// All pieces, in order; a piece may be empty.
  bool write(std::initializer_list<Piece> pieces) const;

  /// Exactly one of these ends the call; one that gets none blocks its thread until that is killed or takes a signal.
  virtual void finish(int64_t value) = 0;
  void fail(int error) {
    finish(-error);
  }
  virtual void pass_on() = 0;
  /// Gives the caller one end of a pair of sockets that keep message limits, with SOCK_NONBLOCK and SOCK_CLOEXEC of
  /// `flags`. The other end is returned, none when the call has failed. `target` is what descriptor_target says of the
  /// caller's end.
  virtual UniqueFd finish_with_socket(int flags, std::string& target) = 0;
  /// Ends a connect: one end of such a pair takes the place of the caller's descriptor, to be closed on exec. The other
  /// end is returned, none when the call has failed.
  virtual UniqueFd finish_connected(int fd) = 0;
  /// Opens the file for the caller, as if it had named it.
  virtual void finish_with_file(const std::string& path, int flags, mode_t mode) = 0;
  /// Moves the caller into the folder.
  virtual void finish_in_folder(const std::string& path) = 0;

 protected:
  static constexpr size_t most_arguments = 6;
  TrappedCall() = default;
  virtual bool is_alive() const = 0;

  long number_ = -1;
  pid_t thread_ = -1;
  std::array<uint64_t, most_arguments> arguments_ = {};
};

/// The memory of another thread's process; false unless all of it was moved.
bool memory_read(pid_t thread, uint64_t address, void* data, size_t size);
bool memory_write(pid_t thread, uint64_t address, const void* data, size_t size);

}  // namespace vcard
