// What differs between two reports of a card.
#pragma once

#include "value.h"

/// Sends a row for every value of the first card's group that differs between the documents. Lists are matched by
/// labels; bytes are told by the 32-bit word. Returns how many rows there are.
size_t reports_compare(const value& first, const value& second, value_sink* out);
