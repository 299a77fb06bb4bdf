#include "host/trapped_call.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/netlink.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace vcard {

namespace {

#if defined(__x86_64__)
constexpr uint32_t native_architecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr uint32_t native_architecture = AUDIT_ARCH_AARCH64;
#else
#error "the system-call filter of the virtual card knows x86-64 and 64-bit ARM"
#endif

constexpr uint32_t data_offset(size_t argument) {
  return static_cast<uint32_t>(offsetof(struct seccomp_data, args) + argument * sizeof(uint64_t));
}

/// A range of another process's memory; the pointer is never followed here.
struct iovec remote_range(uint64_t address, size_t size) {
  return {reinterpret_cast<void*>(address), size};  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace

int call_filter_install() {
  // Jump distances count instructions to skip: (if equal, if not).
  const struct sock_filter code[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, arch)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, native_architecture, 0, 18),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(struct seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_ioctl, 3, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_socket, 5, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_bind, 8, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_mmap, 9, 13),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, data_offset(1)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, driver_ioctl_request, 12, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ethtool_ioctl_request, 11, 10),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, data_offset(0)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AF_NETLINK, 0, 8),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, data_offset(2)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, NETLINK_GENERIC, 7, 6),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, data_offset(2)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, sizeof(struct sockaddr_nl), 5, 4),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, data_offset(3)),
      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, MAP_SHARED, 0, 2),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, data_offset(4)),
      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, 1u << 31, 0, 1),  // no file
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
  };
  const struct sock_fprog program = {static_cast<unsigned short>(std::size(code)), const_cast<sock_filter*>(code)};
  return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
}

bool TrappedCall::receive(int listener) {
  listener_ = listener;
  notification_ = {};
  return ioctl(listener, SECCOMP_IOCTL_NOTIF_RECV, &notification_) == 0;
}

TrappedCall::Kind TrappedCall::kind() const {
  switch (notification_.data.nr) {
    case __NR_ioctl:
      return static_cast<uint32_t>(argument(1)) == ethtool_ioctl_request ? Kind::ethtool_ioctl : Kind::driver_ioctl;
    case __NR_socket:
      return Kind::netlink_socket;
    case __NR_mmap:
      return Kind::file_mapping;
    default:
      return Kind::netlink_bind;
  }
}

pid_t TrappedCall::process() const {
  char path[64];
  snprintf(path, sizeof path, "/proc/%d/status", thread());
  FILE* file = fopen(path, "re");
  if (file == nullptr) {
    return -1;
  }
  char line[256];
  pid_t process = -1;
  while (process < 0 && fgets(line, sizeof line, file) != nullptr) {
    if (strncmp(line, "Tgid:", 5) == 0) {
      process = static_cast<pid_t>(strtol(line + 5, nullptr, 10));
    }
  }
  fclose(file);
  return process;
}

std::string TrappedCall::descriptor_target(int fd) const {
  char path[64];
  char target[PATH_MAX];
  snprintf(path, sizeof path, "/proc/%d/fd/%d", thread(), fd);
  ssize_t length = readlink(path, target, sizeof target);
  return length > 0 && is_alive() ? std::string(target, static_cast<size_t>(length)) : std::string();
}

bool TrappedCall::is_alive() const {
  return ioctl(listener_, SECCOMP_IOCTL_NOTIF_ID_VALID, &notification_.id) == 0;
}

bool TrappedCall::peek(uint64_t address, void* data, size_t size) const {
  struct iovec here = {data, size};
  struct iovec there = remote_range(address, size);
  return process_vm_readv(thread(), &here, 1, &there, 1, 0) == static_cast<ssize_t>(size);
}

bool TrappedCall::read(uint64_t address, void* data, size_t size) const {
  // The check comes last: what was read belongs to the caller only if it still waits now.
  return peek(address, data, size) && is_alive();
}

bool TrappedCall::write(std::initializer_list<Piece> pieces) const {
  struct iovec here[most_pieces];
  struct iovec there[most_pieces];
  if (pieces.size() > most_pieces || !is_alive()) {
    return false;
  }
  size_t count = 0;
  ssize_t total = 0;
  for (const Piece& piece : pieces) {
    here[count] = {const_cast<uint8_t*>(piece.data.data()), piece.data.size()};
    there[count++] = remote_range(piece.address, piece.data.size());
    total += std::ssize(piece.data);
  }
  return process_vm_writev(thread(), here, count, there, count, 0) == total;
}

void TrappedCall::answer(int64_t value, int error, uint32_t flags) const {
  struct seccomp_notif_resp response = {};
  response.id = notification_.id;
  response.val = value;
  response.error = -error;
  response.flags = flags;
  // A caller that died meanwhile needs no answer.
  static_cast<void>(ioctl(listener_, SECCOMP_IOCTL_NOTIF_SEND, &response));
}

void TrappedCall::finish(int64_t value) const {
  answer(value, 0, 0);
}

void TrappedCall::fail(int error) const {
  answer(0, error, 0);
}

void TrappedCall::pass_on() const {
  answer(0, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE);
}

void TrappedCall::finish_with_descriptor(int fd, bool close_on_exec) const {
  struct seccomp_notif_addfd add = {};
  add.id = notification_.id;
  add.srcfd = static_cast<uint32_t>(fd);
  add.newfd_flags = close_on_exec ? O_CLOEXEC : 0;
  int number = ioctl(listener_, SECCOMP_IOCTL_NOTIF_ADDFD, &add);
  if (number < 0) {
    fail(errno == EMFILE ? EMFILE : ENFILE);
  } else {
    finish(number);
  }
}

}  // namespace vcard
