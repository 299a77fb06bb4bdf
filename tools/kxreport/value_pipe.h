// A report on its way from the process that asks the card to the one that shows it. What has arrived is a tree at any
// moment, however the sender ends.
#pragma once

#include <cstdint>

#include "common/unique_fd.h"
#include "value.h"

/// Sends a report into a pipe. Values wait in a buffer until it is full, a fifth of a second has passed, or flush() is
/// called: who reads sees that the card still tells something.
class value_sender final : public value_sink {
 public:
  explicit value_sender(int fd) : fd_(fd) {}
  void begin(term what) override;
  void end() override;
  void number(term what, uint64_t number) override;
  void text(term what, std::string_view text) override;
  void flush();

 private:
  void put(uint8_t operation, term what, const void* data, size_t size);
  int fd_;
  std::string buffer_;
  uint64_t flushed_ms_ = 0;
};

/// Takes what came out of the pipe, cut anywhere, and builds the tree below `root`.
class value_receiver {
 public:
  explicit value_receiver(value* root) : builder_(root) {}
  void take(const char* bytes, size_t size);

 private:
  bool take_one(std::string_view* rest);
  value_builder builder_;
  std::string pending_;
};
