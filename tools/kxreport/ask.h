// Asking several cards side by side: a process for each, so that one that hangs or fails costs its own line and its
// limit, and the others nothing.
#pragma once

#include "collect.h"

struct ask_options {
  collect_request request;
  uint32_t limit_s = 20;  ///< a card that tells nothing for so long is given up
};

/// Asks every place; their groups become children of `list`, a list of `one` terms, in the order of `places`. After a
/// signal the processes come to their end, or are ended, and what was read stays. Returns the signal or 0.
int cards_ask(const std::vector<card_place>& places, const ask_options& options, term one, value* list);
