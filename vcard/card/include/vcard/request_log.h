// The request log: one text line per thing that the card saw, in the order in which it saw them.
//
// A line is a kind, then words of the form name=value separated by single blanks. Bytes are lower-case hexadecimal
// digits in memory order, "-" when there are none; card addresses are 0x and lower-case digits. Nothing in a line
// depends on where a process put its memory: pointers appear as "set" or "null", a process id that is the caller's as
// "self". The kinds are listed in vcard/README.md.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "vcard/bytes.h"

namespace vcard {

class RequestLog {
 public:
  /// Writes nothing.
  RequestLog() = default;
  ~RequestLog();
  RequestLog(const RequestLog&) = delete;
  RequestLog& operator=(const RequestLog&) = delete;

  /// Appends to `path` from now on. False with errno when it cannot be opened.
  bool open(const char* path);
  /// Keeps the lines in memory as well, for unit tests.
  void keep(std::string* lines);

  /// One whole line; the newline is added. Safe from every thread, written at once.
  __attribute__((format(printf, 2, 3))) void line(const char* format, ...);

  /// False when lines go nowhere: lets the caller skip building a costly line.
  bool active() const {
    return active_.load(std::memory_order_relaxed);
  }

 private:
  std::mutex mutex_;
  std::atomic<bool> active_ = false;
  int fd_ = -1;
  std::string* kept_ = nullptr;
};

}  // namespace vcard
