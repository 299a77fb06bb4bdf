#include "package_read.h"

#include <unistd.h>

#include <cerrno>

ssize_t fw_read_at(int fd, uint64_t position, std::span<uint8_t> out) {
  size_t done = 0;
  while (done < out.size()) {
    const ssize_t count = pread(fd, out.data() + done, out.size() - done, static_cast<off_t>(position + done));
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      return -1;
    }
    if (count == 0) {
      break;
    }
    done += static_cast<size_t>(count);
  }
  return static_cast<ssize_t>(done);
}
