// How far long work has come, as the status line: only on a terminal.
#pragma once

#include <cstdint>

class kx_progress_bar {
 public:
  /// `title` (static) stands before the bar; `total` is the amount of work, in any unit.
  kx_progress_bar(const char* title, uint64_t total);
  kx_progress_bar(const kx_progress_bar&) = delete;
  kx_progress_bar& operator=(const kx_progress_bar&) = delete;
  /// Takes the bar away.
  ~kx_progress_bar();

  /// `done` of the total is done. Redraws when the percentage has changed.
  void update(uint64_t done);

 private:
  const char* title_;
  uint64_t total_;
  bool terminal_;
  int percent_ = -1;
};
