#include "common/lock_holder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "common/printable.h"
#include "common/unique_fd.h"

namespace {

// A line is "1: FLOCK  ADVISORY  WRITE 1234 08:02:4711 0 EOF", or POSIX for a record lock; a process that waits has
// "->" behind the number.
pid_t holder_pid(const struct stat& file) {
  const std::unique_ptr<FILE, int (*)(FILE*)> locks(fopen("/proc/locks", "re"), fclose);
  char line[256];
  while (locks != nullptr && fgets(line, sizeof line, locks.get()) != nullptr) {
    int pid = 0;
    unsigned major_number = 0;
    unsigned minor_number = 0;
    unsigned long inode = 0;
    if (sscanf(line, "%*d: %*[A-Z] %*s %*s %d %x:%x:%lu", &pid, &major_number, &minor_number, &inode) == 4 &&
        major_number == major(file.st_dev) && minor_number == minor(file.st_dev) && inode == file.st_ino &&
        pid != getpid()) {
      return pid;
    }
  }
  return 0;
}

// Reads a file of a process without its final zeros and newline; the length, 0 when there is none.
size_t process_file_read(pid_t pid, const char* file, char* text, size_t size) {
  char path[48];
  snprintf(path, sizeof path, "/proc/%d/%s", pid, file);
  const kx_unique_fd fd(open(path, O_RDONLY | O_CLOEXEC));
  const ssize_t length = fd ? read(fd.get(), text, size) : 0;
  size_t end = length > 0 ? static_cast<size_t>(length) : 0;
  for (; end > 0 && (text[end - 1] == '\0' || text[end - 1] == '\n'); --end) {
  }
  return end;
}

// The words of a process, which stand behind each other with a zero behind each; its title when it was started without
// any, as the child of a shell is.
void command_read(pid_t pid, char* text, size_t size) {
  size_t end = process_file_read(pid, "cmdline", text, size - 1);
  if (memchr(text, '\0', end) == nullptr) {
    end = process_file_read(pid, "comm", text, size - 1);
  }
  for (size_t i = 0; i < end; ++i) {
    text[i] = text[i] == '\0' ? ' ' : kx_is_printable(text[i]) ? text[i] : '?';
  }
  text[end] = '\0';
}

}  // namespace

kx_lock_holder kx_lock_holder_find(int fd) {
  kx_lock_holder holder;
  struct stat file = {};
  if (fstat(fd, &file) == 0) {
    holder.pid = holder_pid(file);
  }
  if (holder.pid > 0) {
    command_read(holder.pid, holder.command, sizeof holder.command);
  }
  return holder;
}
