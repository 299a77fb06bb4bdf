#include "host/trapped_call.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vcard {

namespace {

constexpr size_t page_size = 4096;

/// A range of another process's memory; the pointer is never followed here.
struct iovec remote_range(uint64_t address, size_t size) {
  return {reinterpret_cast<void*>(address), size};  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace

bool memory_read(pid_t thread, uint64_t address, void* data, size_t size) {
  struct iovec here = {data, size};
  struct iovec there = remote_range(address, size);
  return process_vm_readv(thread, &here, 1, &there, 1, 0) == static_cast<ssize_t>(size);
}

bool memory_write(pid_t thread, uint64_t address, const void* data, size_t size) {
  struct iovec here = {const_cast<void*>(data), size};
  struct iovec there = remote_range(address, size);
  return process_vm_writev(thread, &here, 1, &there, 1, 0) == static_cast<ssize_t>(size);
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

bool TrappedCall::peek(uint64_t address, void* data, size_t size) const {
  return memory_read(thread(), address, data, size);
}

bool TrappedCall::read(uint64_t address, void* data, size_t size) const {
  // The check comes last: what was read belongs to the caller only if it still waits now.
  return peek(address, data, size) && is_alive();
}

int TrappedCall::read_text(uint64_t address, size_t limit, std::string& text) const {
  text.clear();
  char block[page_size];
  while (text.size() < limit) {
    // Up to the end of a page: the next one need not be there.
    const size_t here = page_size - address % page_size;
    const size_t length = std::min({here, limit - text.size(), sizeof block});
    if (!read(address, block, length)) {
      return EFAULT;
    }
    const char* end = std::find(block, block + length, '\0');
    text.append(block, static_cast<size_t>(end - block));
    if (end != block + length) {
      return 0;
    }
    address += length;
  }
  return ENAMETOOLONG;
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

}  // namespace vcard
