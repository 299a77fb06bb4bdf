// A live view of one card: a screen on a terminal, plain lines elsewhere.
#pragma once

#include "ask.h"

struct watch_options {
  ask_options ask;
  uint32_t interval_s = 1;
  uint32_t looks = 0;  ///< ends after so many; 0: when the user ends it
};

/// Looks again and again, each time as any other command asks the card, so that others get it in between. `judge` says
/// what a look means for the exit status. Returns the status of all looks, or 128 and the signal that ended it.
int watch_run(const card_place& place, const watch_options& options, int (*judge)(const value& look));
