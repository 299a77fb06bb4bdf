// Waiting for the card or for another process, never without a limit.
#pragma once

#include <unistd.h>

#include <cstdint>

/// What one look found.
enum class kx_look : uint8_t {
  done,
  again,  ///< not yet
  busy,   ///< not yet, because somebody else has it
  gone,   ///< never any more: the wait ends at once
};

/// How a wait ended.
enum class kx_waited : uint8_t {
  done,
  gone,  ///< what was waited for is not there any more
  busy,  ///< somebody else had it until the limit
  late,  ///< it did not come within the limit
};

struct kx_wait_limit {
  uint32_t step_us;          ///< between two looks
  uint32_t looks;            ///< at most
  bool sleep_first = false;  ///< no look before the first step: an answer is never there at once
};

/// Looks until something comes of it or the limit is reached.
template <typename Look>
kx_waited kx_wait(const kx_wait_limit& limit, Look&& look) {
  kx_look last = kx_look::again;
  for (uint32_t i = 0; i < limit.looks; ++i) {
    if (i != 0 || limit.sleep_first) {
      usleep(limit.step_us);
    }
    last = look();
    if (last == kx_look::done || last == kx_look::gone) {
      return last == kx_look::done ? kx_waited::done : kx_waited::gone;
    }
  }
  return last == kx_look::busy ? kx_waited::busy : kx_waited::late;
}
