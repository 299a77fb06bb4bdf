#include "vcard/request_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

namespace vcard {

RequestLog::~RequestLog() {
  if (fd_ >= 0) {
    close(fd_);
  }
}

bool RequestLog::open(const char* path) {
  fd_ = ::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  active_ = active_ || fd_ >= 0;
  return fd_ >= 0;
}

void RequestLog::keep(std::string* lines) {
  std::lock_guard guard(mutex_);
  kept_ = lines;
  active_ = true;
}

void RequestLog::line(const char* format, ...) {
  if (!active()) {
    return;
  }
  std::string text;
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  int length = vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  if (length >= 0) {
    text.resize(static_cast<size_t>(length) + 1);
    vsnprintf(text.data(), text.size(), format, again);
    text.back() = '\n';
  }
  va_end(again);

  std::lock_guard guard(mutex_);
  if (kept_ != nullptr) {
    *kept_ += text;
  }
  if (fd_ >= 0) {
    // A full disk loses log lines, not the run.
    static_cast<void>(!write(fd_, text.data(), text.size()));
  }
}

}  // namespace vcard
