#include "qlix_comm/print.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace qlix_comm_detail {

constinit std::atomic<std::uint32_t> print_level{QLIX_TRACE_ERROR_PRINT};

}  // namespace qlix_comm_detail

namespace {

constexpr std::size_t TEXT_SIZE = 1024;

constinit std::atomic<std::uint32_t> print_en{1};
constinit std::atomic<std::uint32_t> log_en{0};
constinit std::atomic<std::uint32_t> log_type{QLIX_LOG_TYPE_PRINT};
constinit std::atomic<std::uint32_t> dump_log_en{0};
constinit std::atomic<qlix_comm_print_callback> print_callback{nullptr};
constinit std::atomic<void (*)()> before_print{nullptr};
constinit std::atomic<int> log_fd{STDERR_FILENO};
constinit std::atomic<int> dump_log_fd{STDERR_FILENO};

struct text {
  char bytes[TEXT_SIZE];
  std::size_t length;
};

// A text that cannot be formatted is empty.
void text_format(text& out, const char* format, va_list args) {
  const int length = vsnprintf(out.bytes, sizeof out.bytes, format, args);
  out.length = length < 0 ? 0 : std::min(static_cast<std::size_t>(length), sizeof out.bytes - 1);
}

void descriptor_write(int fd, const text& line) {
  for (std::size_t done = 0; done < line.length;) {
    const ssize_t written = write(fd, line.bytes + done, line.length - done);
    if (written > 0) {
      done += static_cast<std::size_t>(written);
    } else if (errno != EINTR) {
      return;  // a log that cannot be written must not stop the driver
    }
  }
}

void before_print_call() {
  if (void (*const before)() = before_print; before != nullptr) {
    before();
  }
}

void text_emit(const text& line, bool logged) {
  if (print_en != 0) {
    flockfile(stdout);
    before_print_call();
    fwrite(line.bytes, 1, line.length, stdout);
    fflush(stdout);
    funlockfile(stdout);
  }
  if (!logged || log_en == 0) {
    return;
  }
  before_print_call();
  if (dump_log_en != 0) {
    descriptor_write(dump_log_fd, line);
  } else if (const qlix_comm_print_callback callback = print_callback; callback != nullptr) {
    callback(line.bytes, line.length);
  } else {
    descriptor_write(log_fd, line);
  }
}

}  // namespace

void qlix_comm_set_print_level(std::uint32_t level) {
  qlix_comm_detail::print_level = level;
}

std::uint32_t qlix_comm_get_print_level() {
  return qlix_comm_detail::print_level;
}

void qlix_comm_set_print_en(std::uint32_t enable) {
  print_en = enable;
}

std::uint32_t qlix_comm_get_print_en() {
  return print_en;
}

void qlix_comm_set_log_en(std::uint32_t enable) {
  log_en = enable;
}

std::uint32_t qlix_comm_get_log_en() {
  return log_en;
}

void qlix_comm_set_log_type(std::uint32_t control_word) {
  log_type = control_word;
}

std::uint32_t qlix_comm_get_log_type() {
  return log_type;
}

void qlix_comm_set_dump_log_en(std::uint32_t enable) {
  dump_log_en = enable;
}

std::uint32_t qlix_comm_get_dump_log_en() {
  return dump_log_en;
}

void qlix_comm_set_print_callback(qlix_comm_print_callback callback) {
  print_callback = callback;
}

void qlix_comm_set_before_print(void (*before)()) {
  before_print = before;
}

void qlix_comm_set_log_fd(int fd) {
  log_fd = fd;
}

void qlix_comm_set_dump_log_fd(int fd) {
  dump_log_fd = fd;
}

void qlix_comm_print(const char* format, ...) {
  text line;
  va_list args;
  va_start(args, format);
  text_format(line, format, args);
  va_end(args);
  text_emit(line, (log_type & QLIX_LOG_TYPE_PRINT) != 0);
}

void qlix_comm_trace(const char* format, ...) {
  text line;
  va_list args;
  va_start(args, format);
  text_format(line, format, args);
  va_end(args);
  text_emit(line, true);
}
